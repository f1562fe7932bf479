#include "findings_template.h"

#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "saved_findings.h"

namespace {

using host::Finding;
using host::FrameRange;
using testing::Optional;

host::GrabEvidence templateAsRead() {
    std::ostringstream data;
    host::printFindingsTemplate(data);
    host::GrabEvidence evidence;
    std::string error;
    EXPECT_TRUE(host::readSavedFindings(data.str(), evidence, error)) << error;
    return evidence;
}

TEST(FindingsTemplateTest, CanBeReadAndHasAnExampleOfEveryKind) {
    std::set<host::FindingKind> kinds;
    for (const Finding& finding : templateAsRead().findings) kinds.insert(finding.kind);
    EXPECT_EQ(kinds.size(), host::kFindingKinds);
}

TEST(FindingsTemplateTest, ExamplesAreInSightAndTheStopIsRightBehindIt) {
    const host::GrabEvidence evidence = templateAsRead();
    ASSERT_THAT(evidence.sight, Optional(FrameRange{0, 999}));
    for (const Finding& finding : evidence.findings) {
        if (finding.kind == host::FindingKind::stopped) {
            EXPECT_EQ(finding.frames.first, 1000u);
        } else {
            EXPECT_LT(finding.frames.last, 1000u);
        }
    }
}

}  // namespace
