#ifndef BIZ_TESTS_HOST_FROM_SLOT_H
#define BIZ_TESTS_HOST_FROM_SLOT_H

#include <functional>
#include <string>
#include <tuple>
#include <utility>

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <gtest/gtest.h>

#include <host/support/wait_for.h>

namespace biz::test {

/** What a slot does to the host whose signal has called it. */
enum class Way { Stop, StopAndStart, EveryCall, NestedLoop, DeleteLater, Delete };

/** A signal, and what its slot does. */
using FromSlot = std::tuple<const char *, Way>;

inline std::string nameOf(const testing::TestParamInfo<FromSlot> &info)
{
    static const char *const ways[] = {"Stop", "StopAndStart", "EveryCall", "NestedLoop", "DeleteLater", "Delete"};
    const auto [signal, way] = info.param;
    return std::string(signal) + "_" + ways[static_cast<int>(way)];
}

/** A test whose slot does one thing to the host of `Fixture`, at the first of one signal. */
template<typename Fixture>
class FromSlotTest : public Fixture, public testing::WithParamInterface<FromSlot>
{
protected:
    /** To be called inside every slot. */
    void hear(const QString &signal)
    {
        if (!m_hasActed && signal == QLatin1String(std::get<const char *>(GetParam()))) {
            m_hasActed = true;
            m_pulse.stop();
            act();
        }
    }

    /** Does this time and again until the slot has acted; it is to make every signal happen. */
    void keepDoing(int periodMs, std::function<void()> work)
    {
        QObject::connect(&m_pulse, &QTimer::timeout, &m_pulse, [this, work = std::move(work)] {
            if (!m_hasActed) {
                work();
            }
        });
        m_pulse.start(periodMs);
    }

    void startAndWaitForTheSlot()
    {
        const QPointer<QObject> alive(this->host.get());
        ASSERT_TRUE(this->host->start());
        ASSERT_TRUE(waitFor([this] { return m_hasActed; })) << "the signal never came";
        if (deletesTheHost()) {
            EXPECT_TRUE(waitFor([&] { return alive.isNull(); }));
        }
    }

    static Way way() { return std::get<Way>(GetParam()); }
    static bool deletesTheHost() { return way() == Way::Delete || way() == Way::DeleteLater; }

    /** The ways that depend on what the host can do. */
    virtual void callEverything() { FAIL() << "nothing is tried"; }
    virtual void runNestedLoop() { FAIL() << "nothing is tried"; }

private:
    void act()
    {
        switch (way()) {
        case Way::Stop:
            EXPECT_TRUE(this->host->stop().clean());
            break;
        case Way::StopAndStart:
            EXPECT_TRUE(this->host->stop().clean());
            EXPECT_TRUE(this->host->start());
            break;
        case Way::EveryCall:
            callEverything();
            break;
        case Way::NestedLoop:
            runNestedLoop();
            break;
        case Way::DeleteLater:
            this->host.release()->deleteLater();
            break;
        case Way::Delete:
            this->host.reset();
            break;
        }
    }

    bool m_hasActed = false;
    QTimer m_pulse;
};

} // namespace biz::test

#endif
