#include <biz_cmdswork/biz_cmdswork.h>

#include <biz_cmdswork/diagnostics_p.h>
#include <biz_cmdswork/reply_rules/models_p.h>
#include <biz_cmdswork/reply_rules/reply_view_p.h>
#include <platform/unlocked_access_p.h>

namespace {

using namespace biz;

// The model is a template argument, so that its table's address is known at compile time.
template<rules::Model Model>
bool accepts(const model_Protocoldata &data)
{
    return rules::judge(Model, rules::viewOf(data)).accepted();
}

/** A2 and PVN410MAX2 report the one reply whose refusal has always been looked for. */
template<rules::Model Model>
bool acceptsOrReportsBuffer(const model_Protocoldata &data)
{
    constexpr uchar bufferCommand = 0xF1;
    constexpr uchar bufferSubCode = 0x05;

    const bool accepted = accepts<Model>(data);
    if (data.ucHead[1] == bufferCommand && data.ucHead[2] == bufferSubCode && !accepted) {
        diagnostics::bufferReplyRefused();
    }
    return accepted;
}

} // namespace

bool biz_CMDSWork::checkRecvData(model_Protocoldata data)
{
    const auto model = rules::modelOfDeviceType(unlocked::load(deviceType));
    if (!model) {
        return true;
    }
    switch (*model) {
    case rules::Model::OrlixA2:
        return checkRecvData_ORLIX_A2(data);
    case rules::Model::OrlixA1Max:
        return checkRecvData_ORLIX_A1MAX(data);
    case rules::Model::OrlixA3:
        return checkRecvData_ORLIX_A3(data);
    case rules::Model::Pvn410Max:
        return checkRecvData_PVN410MAX(data);
    case rules::Model::K250:
        return checkRecvData_K250(data);
    case rules::Model::Pvn410Max2:
        return checkRecvData_PVN410MAX2(data);
    case rules::Model::OrlixA5:
        return checkRecvData_ORLIX_A5(data);
    }
    return true;
}

bool biz_CMDSWork::checkRecvData_ORLIX_A2(model_Protocoldata data)
{
    return acceptsOrReportsBuffer<rules::Model::OrlixA2>(data);
}

bool biz_CMDSWork::checkRecvData_ORLIX_A3(model_Protocoldata data)
{
    return accepts<rules::Model::OrlixA3>(data);
}

bool biz_CMDSWork::checkRecvData_ORLIX_A5(model_Protocoldata data)
{
    return accepts<rules::Model::OrlixA5>(data);
}

bool biz_CMDSWork::checkRecvData_ORLIX_A1MAX(model_Protocoldata data)
{
    return accepts<rules::Model::OrlixA1Max>(data);
}

bool biz_CMDSWork::checkRecvData_PVN410MAX(model_Protocoldata data)
{
    return accepts<rules::Model::Pvn410Max>(data);
}

bool biz_CMDSWork::checkRecvData_PVN410MAX2(model_Protocoldata data)
{
    return acceptsOrReportsBuffer<rules::Model::Pvn410Max2>(data);
}

bool biz_CMDSWork::checkRecvData_K250(model_Protocoldata data)
{
    return accepts<rules::Model::K250>(data);
}

quint16 biz_CMDSWork::combineTwoByte(uchar low, uchar high)
{
    return rules::combineTwoByte(low, high);
}
