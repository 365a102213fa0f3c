#ifndef BIZ_HOST_LINE_SINK_P_H
#define BIZ_HOST_LINE_SINK_P_H

#include <memory>

#include <QtCore/QByteArray>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QIODevice>
#include <QtCore/QString>

namespace biz::host {

/** The line that stands for lines that could not be written. */
QByteArray lostLine(qint64 lines);

/** One place that the lines of a log go to. All of it happens on the log's own thread. */
class LineSink
{
public:
    enum class Result {
        Written,
        Begun,  ///< written, and the place would like to be told anew how things stand
        Failed, ///< `problem()` says why; later ones may succeed
        IsGone, ///< nothing can be written any more; `problem()` is empty where that is nobody's business
    };

    LineSink() = default;
    virtual ~LineSink() = default;
    LineSink(const LineSink &) = delete;
    LineSink &operator=(const LineSink &) = delete;

    /** Takes the first lines, `start` and `state`. */
    virtual Result begin(const QByteArray &head) { return write(head); }

    virtual Result write(const QByteArray &lines) = 0;

    /** Tells of lines that could not be written before, where the place can be written again. */
    virtual Result writeLost() { return Result::Written; }

    /** Whether it has not taken what was written to it earlier, and is to be given up; `problem()` says why. */
    virtual bool isOverfull() { return false; }

    /** Hands over what it still holds; what is left at the deadline is lost. */
    virtual void finish(const QDeadlineTimer &deadline) { Q_UNUSED(deadline) }

    const QString &problem() const { return m_problem; }

protected:
    void setProblem(const QString &problem) { m_problem = problem; }

private:
    QString m_problem;
};

/** A device of the application's, or the socket of a reader. What it does not take in time it loses. */
class DeviceSink final : public LineSink
{
public:
    explicit DeviceSink(std::unique_ptr<QIODevice> device);

    Result write(const QByteArray &lines) override;
    bool isOverfull() override;
    void finish(const QDeadlineTimer &deadline) override;

private:
    std::unique_ptr<QIODevice> m_device;
};

} // namespace biz::host

#endif
