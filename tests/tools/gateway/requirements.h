#ifndef BIZ_TEST_REQUIREMENTS_H
#define BIZ_TEST_REQUIREMENTS_H

#include <QtSql/QSqlDatabase>

#include "running_broker.h"

namespace biz::test {

/** What a gateway's journal needs and this machine does not have, as a reason to skip a test; null: it has it. */
inline const char *missingForJournal()
{
    return QSqlDatabase::isDriverAvailable("QSQLITE") ? nullptr : "Qt's driver for SQLite is not installed";
}

/** The same of a gateway with a broker. */
inline const char *missingForGateway()
{
    return RunningBroker::program().isEmpty() ? "the package mosquitto is not installed" : missingForJournal();
}

} // namespace biz::test

#endif
