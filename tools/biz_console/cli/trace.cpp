#include <biz_console/cli/trace.h>

#include <atomic>
#include <cstdio>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

namespace biz::console {

namespace {

std::atomic<bool> traces{false};

// It may run under the channel's lock, on any thread: it prints and does nothing else.
void printMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &message)
{
    if (type == QtDebugMsg && !traces) {
        return;
    }
    const QByteArray line = (type == QtDebugMsg ? "trace: " : "biz_console: ") + message.toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
}

} // namespace

void showDebugMessages(bool on)
{
    traces = on;
    qInstallMessageHandler(printMessage);
}

} // namespace biz::console
