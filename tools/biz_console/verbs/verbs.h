#ifndef BIZ_CONSOLE_VERBS_H
#define BIZ_CONSOLE_VERBS_H

#include <QtCore/QStringList>

#include <biz_console/cli/output.h>

namespace biz::console {

/** One of the console's verbs: its arguments without the program and its own name. */
struct Verb
{
    const char *name;
    const char *arguments;
    const char *purpose;
    int (*run)(const QStringList &arguments, const Output &output);
};

int runDevice(const QStringList &arguments, const Output &output);
int runSend(const QStringList &arguments, const Output &output);
int runOsd(const QStringList &arguments, const Output &output);
int runShow(const QStringList &arguments, const Output &output);
int runServe(const QStringList &arguments, const Output &output);
int runLog(const QStringList &arguments, const Output &output);
int runReplay(const QStringList &arguments, const Output &output);
int runCheck(const QStringList &arguments, const Output &output);
int runPorts(const QStringList &arguments, const Output &output);
int runReport(const QStringList &arguments, const Output &output);
int runRules(const QStringList &arguments, const Output &output);

} // namespace biz::console

#endif
