#ifndef BIZ_TESTKIT_RECORDING_P_H
#define BIZ_TESTKIT_RECORDING_P_H

#include <stdexcept>

#include <common/errors.h>
#include <recording/recorded_devices.h>

namespace biz::testkit {

/** Reads a recording as a test does: throws std::invalid_argument when the file is none. */
inline tools::RecordedDevices readRecording(const QString &file)
{
    try {
        return tools::readRecordedDevices(file);
    } catch (const tools::InputError &error) {
        throw std::invalid_argument(error.what());
    }
}

} // namespace biz::testkit

#endif
