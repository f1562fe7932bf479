#include "surroundings.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using options::configFolderIn;
using options::variableIn;

TEST(SurroundingsTest, VariableIsFoundByItsWholeName) {
    const std::vector<std::string> environment{"ONEMORE=1", "ONE=a=b", "EMPTY="};
    EXPECT_EQ(variableIn(environment, "ONE"), "a=b");
    EXPECT_EQ(variableIn(environment, "EMPTY"), "");
    EXPECT_EQ(variableIn(environment, "NONE"), "");
}

TEST(SurroundingsTest, ProcessHasItsVariables) {
    EXPECT_EQ(variableIn(options::surroundingsOfProcess().environment, "PATH"), std::getenv("PATH"));
}

TEST(SurroundingsTest, UserWithoutAFolderHasNone) { EXPECT_EQ(configFolderIn({}), ""); }

}  // namespace
