#ifndef BIZ_TESTKIT_GOOGLE_TEST_H
#define BIZ_TESTKIT_GOOGLE_TEST_H

#include <gtest/gtest.h>

#include <testkit/finding.h>

/** Findings in GoogleTest: EXPECT_HOLDS(recorder.endedAs(ticket, Outcome::Answered)). */
namespace biz::testkit {

inline ::testing::AssertionResult assertionOf(const Finding &finding)
{
    return finding.holds ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << finding.text.toStdString();
}

} // namespace biz::testkit

#define EXPECT_HOLDS(finding) EXPECT_TRUE(::biz::testkit::assertionOf(finding))
#define ASSERT_HOLDS(finding) ASSERT_TRUE(::biz::testkit::assertionOf(finding))

#endif
