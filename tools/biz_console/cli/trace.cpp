#include <biz_console/cli/trace.h>

#include <atomic>
#include <cstdio>
#include <cstring>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

namespace biz::console {

namespace {

std::atomic<bool> traces{false};

/** The kit tells an operator of lost links and of links that are back. The run itself tells them too. */
bool isFromKit(const QMessageLogContext &context)
{
    return std::strcmp(context.category == nullptr ? "" : context.category, "biz.host") == 0;
}

// It may run under the channel's lock, on any thread: it prints and does nothing else.
void printMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (!traces && (type == QtDebugMsg || isFromKit(context))) {
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
