#ifndef BIZ_CONSOLE_RUN_OPTIONS_H
#define BIZ_CONSOLE_RUN_OPTIONS_H

#include <memory>

#include <QtCore/QCommandLineParser>

#include <biz_console/cli/output.h>
#include <biz_console/output/event_printer.h>
#include <biz_console/run/session_run.h>
#include <host/device_link.h>

namespace biz::console {

// What `run`, `osd` and `send` have in common. All that read an option throw UsageError.

// The names of options that are refused where they would do nothing.
QString deviceOption();
QString portOption();
QString bindOption();

/** --device. */
void addDeviceOption(QCommandLineParser &parser);
std::unique_ptr<host::DeviceLink> deviceLink(const QCommandLineParser &parser);

/** --port and --bind of the OSD channel. */
void addOsdOptions(QCommandLineParser &parser, const QString &defaultPort);

/** Without the option, `fallback`. */
quint16 osdPort(const QCommandLineParser &parser, quint16 fallback);

/** Without the option none: the system chooses. */
QString osdLocalAddress(const QCommandLineParser &parser);

/** --repeat and --rate. */
void addPlanOptions(QCommandLineParser &parser);
RunPlan runPlan(const QCommandLineParser &parser);

/** --reconnect. */
void addReconnectOption(QCommandLineParser &parser);

/** --json. */
void addJsonOption(QCommandLineParser &parser);
bool wantsJson(const QCommandLineParser &parser);

/** --watch. */
void addWatchOption(QCommandLineParser &parser);

/** Throws UsageError when the options ask for two forms of output at once. */
void requireOneForm(const QCommandLineParser &parser);

/**
 * Gives a run the sink that shows it: JSON, a view in the terminal, or lines for people as
 * `shown` says. JSON has every event unless --quiet is set.
 */
void addOutputSink(SessionRun &run, const QCommandLineParser &parser, const Output &output,
                   const EventPrinter::Options &shown);

/** What a quiet run shows beside its summary differs between the channels. */
void addQuietOption(QCommandLineParser &parser, const char *stillShown);
bool isQuiet(const QCommandLineParser &parser);

} // namespace biz::console

#endif
