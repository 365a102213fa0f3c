#include <recording/recording_file.h>

#include <common/errors.h>
#include <common/files/input_file.h>

namespace biz::tools {

int readRecordingLines(const QString &path, const ReadRecordingLine &read)
{
    InputFile file(path);
    QByteArray line;
    while (file.next(&line)) {
        try {
            read(line, file.name(), file.lineNumber());
        } catch (const InputError &) {
            // The line in which it was cut off is no whole one.
            if (file.isWholeLine() || file.lineNumber() == 1) {
                throw;
            }
        }
    }
    if (file.lineNumber() == 0) {
        throw InputError(file.name(), QStringLiteral("a recording expected, not an empty file"));
    }
    return file.lineNumber();
}

} // namespace biz::tools
