#include <peers/accept_all_checker.h>

bool AcceptAllChecker::checkRecvData(model_Protocoldata data)
{
    return checkModel(data);
}

bool AcceptAllChecker::checkModel(model_Protocoldata data)
{
    return !data.baData.isNull() || data.baData.isNull();
}
