#ifndef BIZ_TESTS_HOST_SCRIPTED_LINK_H
#define BIZ_TESTS_HOST_SCRIPTED_LINK_H

#include <functional>
#include <stdexcept>

#include <QtCore/QTimer>

#include <host/device_link.h>

namespace biz::test {

/** A link that does what the test says, and counts what it is told to do. */
class ScriptedLink : public host::DeviceLink
{
public:
    enum class Opening { Succeeds, Fails, Throws, Never };

    Opening opening = Opening::Succeeds;
    qint64 held = 0;
    bool isFull = false;
    bool endsToDiscard = true;       ///< as TCP does; a serial line stays open
    bool tellsOfItsOwnClose = false; ///< against the rule
    bool throwsEverywhere = false;
    bool endsWithTheWriting = false; ///< the connection is over within endWriting()
    bool throwsInClose = false;
    std::function<bool(const QByteArray &)> inWrite = [](const QByteArray &) {
        return true;
    };

    int opens = 0;
    int discards = 0;
    QByteArray written;

    void open() override
    {
        ++opens;
        if (opening == Opening::Throws) {
            throw std::runtime_error("no such line");
        }
        if (opening != Opening::Never) {
            QTimer::singleShot(0, this, [this] { finishOpening(); });
        }
    }

    void close() override
    {
        m_open = false;
        mayThrow();
        if (throwsInClose) {
            throw 1;
        }
        if (tellsOfItsOwnClose) {
            Q_EMIT closed(QStringLiteral("closed on request"));
        }
    }

    bool isOpen() const override { return m_open; }

    bool write(const QByteArray &bytes) override
    {
        mayThrow();
        written += bytes;
        return inWrite(bytes);
    }

    bool canWrite() const override
    {
        mayThrow();
        return m_open && !isFull;
    }
    qint64 bytesHeld() const override
    {
        mayThrow();
        return held;
    }

    void discard() override
    {
        mayThrow();
        ++discards;
        held = 0;
        if (endsToDiscard) {
            breakDown(QStringLiteral("discarded"));
        }
    }

    bool endWriting() override
    {
        mayThrow();
        if (endsWithTheWriting) {
            breakDown(QStringLiteral("the other side ended as well"));
        }
        return true;
    }

    QString name() const override { return QStringLiteral("scripted:"); }

    /** The other side hangs up. */
    void breakDown(const QString &reason)
    {
        m_open = false;
        Q_EMIT closed(reason);
    }

private:
    void mayThrow() const
    {
        if (throwsEverywhere) {
            throw std::runtime_error("the driver is gone");
        }
    }

    void finishOpening()
    {
        if (opening == Opening::Fails) {
            Q_EMIT closed(QStringLiteral("nobody is there"));
            return;
        }
        m_open = true;
        Q_EMIT opened();
    }

    bool m_open = false;
};

} // namespace biz::test

#endif
