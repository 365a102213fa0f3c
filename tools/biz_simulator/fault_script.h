#ifndef BIZ_SIMULATOR_FAULT_SCRIPT_H
#define BIZ_SIMULATOR_FAULT_SCRIPT_H

#include <QtCore/QByteArray>

#include <biz_simulator/fault_plan.h>

/**
 * Scripts of faults, as a JSON document or one by one from the command line.
 *
 *     {"faults": [
 *         {"reception": 2, "fault": "silence"},
 *         {"command": "F1/08", "times": 1, "fault": "shortPayload"},
 *         {"device": "127.1.0.3", "reception": 1, "fault": "late", "lateBy": 3000}
 *     ]}
 */
namespace biz::simulator {

/** Reads a document; false: `error` says where in it, and what was expected. */
bool readFaultScript(const QByteArray &json, QVector<ScriptEntry> *entries, QString *error);

/** Reads "N=KIND", "F1/08=KIND" or "127.1.0.3=KIND". */
bool readFaultOption(const QString &text, ScriptEntry *entry, QString *error);

/** Reads "KIND=P", P being a probability from 0 to 1. */
bool readFaultRate(const QString &text, FaultRate *rate, QString *error);

} // namespace biz::simulator

#endif
