#include <biz_console/report/history_files.h>

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <biz_console/replies/error_log_line.h>
#include <common/errors.h>
#include <common/files/input_file.h>
#include <history/event.h>
#include <history/reading/history_builder.h>

namespace biz::console {

namespace {

/** A file and when it begins. */
struct DatedFile
{
    QString path;
    bool isErrorLog = false;
    double fromMs = history::never;
    double startMs = history::never;         ///< of the run that it begins in, which may have begun in an earlier file
    std::unique_ptr<tools::InputFile> begun; ///< which cannot be read again
    std::deque<QByteArray> firstLines;       ///< of such a file: they have been read
};

/** The lines of a file that has been looked into, from the first one on. */
class Lines
{
public:
    explicit Lines(DatedFile &file)
        : m_firstLines(std::move(file.firstLines))
        , m_file(file.begun ? std::move(file.begun) : std::make_unique<tools::InputFile>(file.path))
    {
    }

    bool next(QByteArray *line)
    {
        if (m_firstLines.empty()) {
            return m_file->next(line);
        }
        *line = m_firstLines.front();
        m_firstLines.pop_front();
        return true;
    }

private:
    std::deque<QByteArray> m_firstLines;
    std::unique_ptr<tools::InputFile> m_file;
};

double timeOf(const ErrorLogLine &line)
{
    const QDateTime time = QDateTime::fromString(line.time, QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
    return static_cast<double>(time.toMSecsSinceEpoch());
}

/** When an event log begins: files of one log that is rotated have the same first line. */
void date(DatedFile &file, const history::Event &event)
{
    file.startMs = file.fromMs < 0.0 ? event.utcMs : file.startMs;
    if (file.fromMs < 0.0 || event.kind != history::Event::Kind::Start) {
        file.fromMs = event.utcMs;
    }
}

/** Looks for the first lines that say what the file is: those before them may be torn. */
void findBegin(tools::InputFile &file, DatedFile &dated, bool mayBeEmpty)
{
    constexpr int mostLines = 100;
    QByteArray text;
    for (int i = 0; i < mostLines && file.next(&text); ++i) {
        dated.firstLines.push_back(text);
        history::Event event;
        const std::optional<ErrorLogLine> line = readErrorLogLine(text);
        if (history::readEvent(text, &event) && event.utcMs >= 0.0) {
            date(dated, event);
            if (event.kind != history::Event::Kind::Start) {
                return;
            }
        } else if (dated.fromMs < 0.0 && line) {
            dated.isErrorLog = true;
            dated.fromMs = timeOf(*line);
            dated.startMs = dated.fromMs;
            return;
        }
    }
    const bool isEmpty = file.lineNumber() == 0;
    if (dated.fromMs < 0.0 && !(isEmpty && mayBeEmpty)) {
        throw tools::InputError(QStringLiteral("%1: an event log, a recording or an error log expected, with one JSON "
                                               "object or one refused reply a line")
                                    .arg(dated.path));
    }
}

// More files may be named than a process may have open.
DatedFile lookInto(const QString &path, bool mayBeEmpty)
{
    DatedFile dated;
    dated.path = path;
    auto file = std::make_unique<tools::InputFile>(path);
    findBegin(*file, dated, mayBeEmpty);
    if (file->canBeReadAgain()) {
        dated.firstLines.clear();
    } else {
        dated.begun = std::move(file);
    }
    return dated;
}

void readEvents(history::HistoryBuilder &builder, DatedFile &file)
{
    Lines lines(file);
    builder.beginFile(file.path);
    QByteArray text;
    while (lines.next(&text)) {
        builder.readEventLine(text);
    }
}

history::LoggedReply loggedReplyOf(const ErrorLogLine &line)
{
    history::LoggedReply logged;
    logged.atMs = timeOf(line);
    logged.loggedName = line.loggedName;
    logged.reply = line.reply;
    const host::CheckedModel *model = modelOfLoggedName(line.loggedName);
    if (model != nullptr) {
        logged.deviceType = model->deviceType;
        logged.model = model->name;
    }
    return logged;
}

void readErrorLog(history::HistoryBuilder &builder, DatedFile &file)
{
    Lines lines(file);
    builder.beginFile(file.path);
    QByteArray text;
    while (lines.next(&text)) {
        const std::optional<ErrorLogLine> line = readErrorLogLine(text);
        if (line) {
            builder.add(loggedReplyOf(*line));
        } else {
            builder.noteBadLine();
        }
    }
}

/** When the first of the files of a log begins that was rotated: they are numbered, or begin with the same start. */
void dateLogs(std::vector<DatedFile> &files)
{
    static const QRegularExpression number(QStringLiteral("\\.\\d+$"));
    std::map<QString, double> logs;
    for (DatedFile &file : files) {
        const auto log = logs.emplace(QString(file.path).remove(number), file.startMs).first;
        log->second = std::min(log->second, file.startMs);
    }
    for (DatedFile &file : files) {
        file.startMs = logs[QString(file.path).remove(number)];
    }
}

/** Of each log file by file; error logs last: what event logs tell of as well counts once. */
bool isReadBefore(const DatedFile &a, const DatedFile &b)
{
    return std::tie(a.isErrorLog, a.startMs, a.fromMs) < std::tie(b.isErrorLog, b.startMs, b.fromMs);
}

} // namespace

history::History readHistory(const QStringList &paths)
{
    // A host may have begun a log and logged nothing: that is no reason to tell nothing of the others.
    const bool isOneOfSeveral = paths.size() > 1;
    std::vector<DatedFile> files;
    for (const QString &path : paths) {
        files.push_back(lookInto(path, isOneOfSeveral));
    }
    dateLogs(files);
    std::stable_sort(files.begin(), files.end(), isReadBefore);
    history::HistoryBuilder builder;
    for (DatedFile &file : files) {
        if (file.isErrorLog) {
            readErrorLog(builder, file);
        } else {
            readEvents(builder, file);
        }
    }
    return builder.take();
}

QStringList takeRepeatedFiles(QStringList *paths)
{
    QStringList distinct;
    QStringList repeated;
    std::set<std::pair<dev_t, ino_t>> seen;
    for (const QString &path : qAsConst(*paths)) {
        struct stat found = {};
        const bool isThere = path == QLatin1String("-") ? fstat(STDIN_FILENO, &found) == 0
                                                        : stat(QFile::encodeName(path).constData(), &found) == 0;
        const bool isNew = !isThere || seen.emplace(found.st_dev, found.st_ino).second;
        (isNew ? distinct : repeated).append(path);
    }
    *paths = distinct;
    return repeated;
}

} // namespace biz::console
