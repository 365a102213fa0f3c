#ifndef BIZ_TOOLS_RECORDING_FORMAT_H
#define BIZ_TOOLS_RECORDING_FORMAT_H

/** The keys that a recording has beyond those of the events of `--json`. */
namespace biz::tools::recorded {

/** The version of the format, in the head of every recording. */
constexpr int formatVersion = 2;

constexpr char head[] = "recording";
constexpr char linkOpening[] = "linkOpening"; ///< once more; that of the start goes without saying
constexpr char linkOpened[] = "linkOpened";
constexpr char linkClosed[] = "linkClosed";
constexpr char bytesOut[] = "bytesOut";
constexpr char bytesIn[] = "bytesIn";

/** Of the head. */
constexpr char reconnects[] = "reconnects";

/** Of the head, where the recording is the last part of a longer run. */
constexpr char part[] = "part";
constexpr char amidCommands[] = "amidCommands"; ///< it begins while replies were awaited

} // namespace biz::tools::recorded

#endif
