#ifndef BIZ_SIMULATOR_FAULT_SCRIPT_H
#define BIZ_SIMULATOR_FAULT_SCRIPT_H

#include <biz_simulator/devices/settings.h>
#include <common/files/input_file.h>
#include <common/json/json_reader.h>

/**
 * Scripts of faults, as a JSON document or one by one from the command line.
 *
 *     {"faults": [
 *         {"reception": 2, "fault": "silence"},
 *         {"command": "F1/08", "times": 1, "fault": "shortPayload"},
 *         {"device": "127.1.0.3", "reception": 1, "fault": "late", "lateBy": 3000},
 *         {"reception": 9, "fault": "vanish", "vanishFor": 500}
 *     ]}
 */
namespace biz::simulator {

/** The entries of a script; throws tools::InputError with all that is wrong in it. */
QVector<ScriptEntry> readFaultScript(const tools::InputText &input);

/** The same of an object's member `faults`; none when it is absent. */
QVector<ScriptEntry> readFaultEntries(const tools::ObjectReader &reader);

/** An object's member `rates`, {"silence": 0.1, "junk": 0.02}, in the order of the kinds; none when it is absent. */
QVector<FaultRate> readFaultRates(const tools::ObjectReader &reader);

/** Reads "N=KIND", "F1/08=KIND" or "127.1.0.3=KIND". Throws tools::UsageError. */
ScriptEntry readFaultOption(const QString &text);

/** Reads "KIND=P", P being a probability from 0 to 1. Throws tools::UsageError. */
FaultRate readFaultRate(const QString &text);

} // namespace biz::simulator

#endif
