// What must hold: all that the model of tests/kit_seeds knows, whatever an application calls in whatever slot, and
// whatever its devices do. The first byte decides on the channels, each further one on the next thing that happens.

#include "fuzz_target.h"

#include <QtCore/QLoggingCategory>

#include <kit_seeds/worlds/play.h>
#include <support/scratch_folder.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace biz::kit_seeds;
    constexpr int mostSteps = 80;

    static const biz::test::ScratchFolder scratch; // the error log follows the working directory
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\nbiz.host*=false"));
    if (size == 0) {
        return 0;
    }
    busyTimes = {};
    Dice dice(data + 1, size - 1);
    biz::testkit::TestClock clock;
    const Worlds worlds = makeWorlds(data[0], dice, clock);
    const std::string violation = play(worlds, dice, clock, mostSteps);
    biz::fuzz::require(violation.empty(), violation.c_str());
    return 0;
}
