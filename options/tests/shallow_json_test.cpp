#include "shallow_json.h"

#include <gtest/gtest.h>

namespace {

std::string problemOf(const std::string& text) {
    try {
        options::parseShallowJson(text);
    } catch (const options::JsonProblem& problem) {
        return problem.what();
    }
    return "";
}

TEST(ShallowJsonTest, ProblemNamesItsPlaceAndWhatToLookFor) {
    const std::string here = "' on; look for a missing or surplus comma, quote or bracket";
    EXPECT_EQ(problemOf("{\"a\": 1}"), "");
    EXPECT_EQ(problemOf("{\"a\": 1,}"), "line 1, column 9: this is no JSON from '}" + here);
    EXPECT_EQ(problemOf("{\n  \"a\": 1\n  \"b\": 2\n}\n"), "line 3, column 5: this is no JSON from '\"" + here);
    EXPECT_EQ(problemOf("hello"), "line 1, column 1: this is no JSON from 'h" + here);
    EXPECT_EQ(problemOf("{} x"), "line 1, column 4: this is no JSON from 'x" + here);
    EXPECT_EQ(problemOf("{\"a\": [1, 2\n"),
              "line 2: the text ends too early; a bracket, a brace or a quote is not closed");
    EXPECT_EQ(problemOf(""), "is empty");
    EXPECT_EQ(problemOf(" \n"), "is empty");
    EXPECT_EQ(problemOf("[1e999]"), "a number is too large");
    EXPECT_EQ(problemOf(std::string(30, '[')), "nested too deeply");
}

}  // namespace
