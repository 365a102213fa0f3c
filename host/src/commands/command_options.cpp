#include <host/command_options.h>

namespace biz::host {

model_Protocoldata makeCommand(quint8 code, quint8 subCode, const QByteArray &payload)
{
    model_Protocoldata command;
    command.ucHead[1] = code;
    command.ucHead[2] = subCode;
    command.baData = payload;
    return command;
}

} // namespace biz::host
