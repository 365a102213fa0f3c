#ifndef BIZ_BENCH_PLAIN_ERROR_LOG_H
#define BIZ_BENCH_PLAIN_ERROR_LOG_H

#include <model/model_protocoldata.h>

/** The same line by the Qt calls that come to mind first, with a table for the digits. */
void writeWithTable(const model_Protocoldata &data);

/** The same line, each byte formatted by QString::arg. */
void writeWithArg(const model_Protocoldata &data);

#endif
