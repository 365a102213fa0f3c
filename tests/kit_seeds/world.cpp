#include <kit_seeds/world.h>

#include <thread>

namespace biz::kit_seeds {

using std::chrono::milliseconds;

namespace {

constexpr int deepestCalls = 3;

} // namespace

host::CommandOptions World::options()
{
    host::CommandOptions options;
    if (m_dice.chance(15)) {
        options.validFor = milliseconds(m_dice.between(1, 2000));
    }
    if (m_dice.chance(20)) {
        options.replaceKey = QString::number(m_dice.below(3));
    }
    options.urgent = m_dice.chance(15);
    return options;
}

void World::calmDown()
{
    m_isCalm = true;
    repair();
}

void World::disturb()
{
    if (m_isCalm) {
        return;
    }
    if (m_depth < deepestCalls && m_dice.chance(4)) {
        ++m_depth;
        act();
        --m_depth;
    }
    if (m_dice.chance(1)) {
        threadWasBusy = true;
        std::this_thread::sleep_for(milliseconds(m_dice.between(1, 300)));
    }
}

} // namespace biz::kit_seeds
