#ifndef BIZ_MONITOR_FILE_SOURCE_H
#define BIZ_MONITOR_FILE_SOURCE_H

#include <biz_monitor/sources/line_source.h>
#include <common/files/followed_file.h>

namespace biz::monitor {

/** An event log that grows and is rotated, from its oldest file on; or a recording. */
class FileSource : public LineSource
{
public:
    explicit FileSource(const QString &path);

    bool next(QByteArray *line) override;
    QString name() const override { return m_file.path(); }
    QString problem() const override;

private:
    tools::FollowedFile m_file;
    QString m_problem;
};

} // namespace biz::monitor

#endif
