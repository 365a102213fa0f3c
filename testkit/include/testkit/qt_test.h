#ifndef BIZ_TESTKIT_QT_TEST_H
#define BIZ_TESTKIT_QT_TEST_H

#include <QtTest/QtTest>

#include <testkit/finding.h>

/** A finding in Qt Test: VERIFY_HOLDS(recorder.endedAs(ticket, Outcome::Answered)). */
#define VERIFY_HOLDS(finding)                                                                                          \
    do {                                                                                                               \
        const ::biz::testkit::Finding bizFindingToVerify = (finding);                                                  \
        QVERIFY2(bizFindingToVerify.holds, qPrintable(bizFindingToVerify.text));                                       \
    } while (false)

#endif
