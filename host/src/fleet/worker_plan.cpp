#include <fleet/worker_plan_p.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QStandardPaths>

namespace biz::host {

namespace {

/** Where there is none, its name: the start will fail, and say so. */
QString consoleProgram()
{
    const QString name = QStringLiteral("biz_console");
    const QString beside = QStandardPaths::findExecutable(name, {QCoreApplication::applicationDirPath()});
    const QString inPath = beside.isEmpty() ? QStandardPaths::findExecutable(name) : beside;
    return inPath.isEmpty() ? name : inPath;
}

QStringList consoleArguments(const DeviceSettings &settings)
{
    QStringList arguments{QStringLiteral("serve"), QStringLiteral("--device"),
                          settings.link.toString(QUrl::FullyEncoded), QStringLiteral("--wait"),
                          QString::number(settings.defaultWaitMs)};
    if (!settings.model.isEmpty()) {
        arguments += {QStringLiteral("--model"), settings.model};
    }
    if (settings.pipelined) {
        arguments += QStringLiteral("--pipelined"); // which takes no notice of a settle time: the console refuses one
    } else if (settings.settleMs > 0) {
        arguments += {QStringLiteral("--settle"), QString::number(settings.settleMs)};
    }
    if (settings.whileDown == WhileDown::Hold) {
        arguments += QStringLiteral("--hold");
    }
    return arguments;
}

} // namespace

WorkerPlan planOf(const DeviceSettings &settings, const QString &folder)
{
    const bool isOwn = !settings.program.isEmpty();
    WorkerPlan plan;
    plan.folder = folder;
    plan.program = isOwn ? settings.program : consoleProgram();
    plan.arguments = isOwn ? settings.arguments : consoleArguments(settings);
    plan.heartbeat = std::chrono::milliseconds(settings.heartbeatMs);
    plan.mostUnanswered = DeviceSettings::mostUnanswered;
    return plan;
}

} // namespace biz::host
