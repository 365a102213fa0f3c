#include "fuzz_target.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QStringList>

namespace {

bool replay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    std::fflush(stdout); // so that a crash is seen behind its input
    const QByteArray input = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.constData()),
                           static_cast<std::size_t>(input.size()));
    return true;
}

} // namespace

/** Puts the files of the given folders through the target, without a fuzzer. */
int main(int argc, char **argv)
{
    int played = 0;
    for (int i = 1; i < argc; ++i) {
        // Absolute, since a target may have a working directory of its own.
        const QDir folder(QDir(QString::fromLocal8Bit(argv[i])).absolutePath());
        for (const QString &name : folder.entryList(QDir::Files, QDir::Name)) {
            if (!replay(folder.filePath(name))) {
                return 1;
            }
            ++played;
        }
    }
    std::printf("%d inputs\n", played);
    return played == 0 ? 1 : 0;
}
