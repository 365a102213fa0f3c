#ifndef BIZ_TESTS_REPLY_BUILDER_H
#define BIZ_TESTS_REPLY_BUILDER_H

#include "sweep.h"

/** A reply in the words of the wire: `reply(0xF1, 0x08).index(15).declares(354).payload(354)`. */
class ReplyBuilder
{
public:
    ReplyBuilder(int command, int subCode)
        : m_command(command)
        , m_subCode(subCode)
    {
    }

    ReplyBuilder &index(int value)
    {
        m_wire.b3 = value;
        return *this;
    }
    ReplyBuilder &byte4(int value)
    {
        m_wire.b4 = value;
        return *this;
    }
    ReplyBuilder &byte5(int value)
    {
        m_wire.b5 = value;
        return *this;
    }
    ReplyBuilder &declares(int length) { return byte4(length % 256).byte5(length / 256); }
    ReplyBuilder &payload(int size)
    {
        m_wire.payload = size;
        return *this;
    }

    model_Protocoldata record() const { return replyRecord(m_command, m_subCode, m_wire); }

    biz::rules::Reply view() const
    {
        const auto byte = [](int value) {
            return static_cast<std::uint8_t>(value);
        };
        return {byte(m_command), byte(m_subCode), byte(m_wire.b3), byte(m_wire.b4), byte(m_wire.b5), m_wire.payload};
    }

private:
    int m_command;
    int m_subCode;
    listing::Wire m_wire;
};

inline ReplyBuilder reply(int command, int subCode)
{
    return {command, subCode};
}

#endif
