#ifndef BIZ_BENCH_ACCEPT_ALL_CHECKER_H
#define BIZ_BENCH_ACCEPT_ALL_CHECKER_H

#include <model/model_protocoldata.h>

/** Takes records by value through the same chain of calls as the library, and accepts all. */
class AcceptAllChecker
{
public:
    bool checkRecvData(model_Protocoldata data);
    bool checkModel(model_Protocoldata data);
};

#endif
