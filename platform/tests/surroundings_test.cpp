#include "surroundings.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

TEST(SurroundingsTest, VariableIsFoundByItsWholeName) {
    const std::vector<std::string> environment{"ONEMORE=1", "ONE=a=b", "EMPTY="};
    EXPECT_EQ(platform_variableIn(environment, "ONE"), "a=b");
    EXPECT_EQ(platform_variableIn(environment, "EMPTY"), "");
    EXPECT_EQ(platform_variableIn(environment, "NONE"), "");
}

TEST(SurroundingsTest, ProcessHasItsVariables) {
    EXPECT_EQ(platform_variableIn(platform_surroundings().environment, "PATH"), std::getenv("PATH"));
}

TEST(SurroundingsTest, UserWithoutAFolderHasNone) { EXPECT_EQ(platform_configFolderIn({}), ""); }

}  // namespace
