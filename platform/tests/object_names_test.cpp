// Names of shared objects: which are accepted, how the others are refused, and that long ones stay distinct.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "child_process.h"
#include "object_handles.h"
#include "object_look.h"
#include "platform.h"

using test::ObjectHandle;

namespace {

constexpr std::size_t kLongestName = MAX_PATH - 1;

ObjectHandle createEvent(const std::string& name) {
    return ObjectHandle(CreateEventA(nullptr, FALSE, FALSE, name.c_str()));
}
ObjectHandle openEvent(const std::string& name) {
    return ObjectHandle(OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str()));
}
ObjectHandle createMapping(const std::string& name) {
    return ObjectHandle(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, name.c_str()));
}
ObjectHandle openMapping(const std::string& name) {
    return ObjectHandle(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str()));
}

// A unique name that is filled up to a length.
std::string filledName(std::size_t length, char filling) {
    std::string name = test::uniqueName("long");
    name.resize(length, filling);
    return name;
}

struct LongName {
    const char* name;
    std::size_t length;
    char filling;
};

class LongNamesTest : public testing::TestWithParam<LongName> {
protected:
    std::string _name = filledName(GetParam().length, GetParam().filling);
};

}  // namespace

TEST_P(LongNamesTest, AreTaken) {
    const auto event = createEvent(_name);
    ASSERT_NE(event.get(), nullptr) << GetLastError();
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    const auto opened = openEvent(_name);
    ASSERT_NE(opened.get(), nullptr) << GetLastError();
    SetEvent(opened.get());
    const HANDLE waitedFor = event.get();
    EXPECT_EQ(WaitForMultipleObjects(1, &waitedFor, FALSE, 0), WAIT_OBJECT_0);
    const auto again = createEvent(_name);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(platform_lookAtObject(_name.c_str(), 0).kind, ObjectSight::Kind::event);
}

TEST_P(LongNamesTest, DifferInTheirLastCharacter) {
    std::string other = _name;
    other.back() = 'q';
    const auto event = createEvent(_name);
    EXPECT_EQ(openEvent(other).get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    const auto mapping = createMapping(other);
    EXPECT_NE(mapping.get(), nullptr) << GetLastError();
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

TEST_P(LongNamesTest, GoWithTheirLastHandle) {
    { const auto mapping = createMapping(_name); }
    EXPECT_EQ(openMapping(_name).get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(platform_lookAtObject(_name.c_str(), 0).kind, ObjectSight::Kind::absent);
}

CHILD_ROLE(setsEventOfALongName) {
    const auto event = openEvent(arguments.at(0));
    return SetEvent(event.get()) ? 0 : 1;
}

TEST_P(LongNamesTest, AreTheSameInAnotherProcess) {
    const auto event = createEvent(_name);
    test::ChildProcess child("setsEventOfALongName", {_name});
    EXPECT_EQ(child.join(std::chrono::seconds(60)), 0);
    const HANDLE waitedFor = event.get();
    EXPECT_EQ(WaitForMultipleObjects(1, &waitedFor, FALSE, 0), WAIT_OBJECT_0);
}

// In a file's name a dot takes three bytes, a letter one.
// clang-format off
constexpr LongName kLongNames[] = {
    {"Of86Characters",      86,           '.'},
    {"OfDots",              150,          '.'},
    {"OfBlanks",            150,          ' '},
    {"Of255Letters",        255,          'x'},
    {"Of256Letters",        256,          'x'},
    {"OfTheGreatestLength", kLongestName, 'x'},
    {"OfAsManyDots",        kLongestName, '.'}
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Names, LongNamesTest, testing::ValuesIn(kLongNames),
                         [](const auto& information) { return std::string(information.param.name); });

TEST(LongNames, MayHaveTheLocalOrGlobalPrefixWithinTheirLength) {
    const std::string stem = filledName(kLongestName - 6, 'x');
    const auto local = createEvent("Local\\" + stem);
    ASSERT_NE(local.get(), nullptr) << GetLastError();
    const auto plain = createEvent(stem);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    const std::string shorter = stem.substr(0, kLongestName - 7);
    const auto global = createEvent("Global\\" + shorter);
    ASSERT_NE(global.get(), nullptr) << GetLastError();
    const auto other = createEvent(shorter);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

TEST(LongNames, BeyondTheGreatestLengthAreRefused) {
    for (const std::string& name : {std::string(kLongestName + 1, 'x'), std::string(5000, '.'),
                                    "Local\\" + std::string(kLongestName - 5, 'x'), std::string(270, 'x') + "\\x"}) {
        EXPECT_EQ(createEvent(name).get(), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
        EXPECT_EQ(openEvent(name).get(), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
        EXPECT_EQ(createMapping(name).get(), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
        EXPECT_EQ(openMapping(name).get(), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
    }
}

// ------------------------------------------------------------------------------------ names that cannot be opened

namespace {

struct BadName {
    const char* name;
    const char* objectName;
    DWORD error;
};

class BadNamesTest : public testing::TestWithParam<BadName> {};

}  // namespace

TEST_P(BadNamesTest, AreRefusedByEachCall) {
    const std::string name = GetParam().objectName;
    EXPECT_EQ(createEvent(name).get(), nullptr);
    EXPECT_EQ(GetLastError(), GetParam().error);
    EXPECT_EQ(openEvent(name).get(), nullptr);
    EXPECT_EQ(GetLastError(), GetParam().error);
    EXPECT_EQ(createMapping(name).get(), nullptr);
    EXPECT_EQ(GetLastError(), GetParam().error);
    EXPECT_EQ(openMapping(name).get(), nullptr);
    EXPECT_EQ(GetLastError(), GetParam().error);
}

// clang-format off
constexpr BadName kBadNames[] = {
    {"NothingBehindLocal",      "Local\\",  ERROR_INVALID_NAME  },
    {"NothingBehindGlobal",     "Global\\", ERROR_INVALID_NAME  },
    {"ABackslashInFront",       "\\",       ERROR_BAD_PATHNAME  },
    {"ABackslashInFrontOfText", "\\x",      ERROR_BAD_PATHNAME  },
    {"ABackslashInside",        "a\\b",     ERROR_PATH_NOT_FOUND},
    {"ABackslashAtTheEnd",      "a\\",      ERROR_PATH_NOT_FOUND},
    {"ALowerCasePrefix",        "local\\x", ERROR_PATH_NOT_FOUND}
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Names, BadNamesTest, testing::ValuesIn(kBadNames),
                         [](const auto& information) { return std::string(information.param.name); });

TEST(EmptyName, MakesAnUnnamedObjectAndNamesNone) {
    const auto event = createEvent("");
    EXPECT_NE(event.get(), nullptr);
    const auto mapping = createMapping("");
    EXPECT_NE(mapping.get(), nullptr);
    EXPECT_EQ(openEvent("").get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(openMapping("").get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(NoName, CannotBeOpened) {
    EXPECT_EQ(OpenEventA(EVENT_ALL_ACCESS, FALSE, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}
