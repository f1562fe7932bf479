#include <ostream>

#include <gmock/gmock.h>

#include "child_process.h"
#include "platform.h"

namespace {

struct ExportedName {
    const char* library;
    const char* name;
};

void PrintTo(const ExportedName& row, std::ostream* stream) { *stream << row.library << ' ' << row.name; }

class ExportedNameTest : public testing::TestWithParam<ExportedName> {};

TEST_P(ExportedNameTest, IsFoundInItsLibraryAtRunTime) {
    const std::string path = test::programFolder() + GetParam().library + LIBRARY_SUFFIX;
    const HMODULE library = LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    ASSERT_NE(library, nullptr) << path;
    EXPECT_NE(GetProcAddress(library, GetParam().name), nullptr);
    FreeLibrary(library);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ExportedNameTest,
    testing::Values(ExportedName{"trace", "MTrace_TestMasterLevel"}, ExportedName{"trace", "_MTrace_Location"},
                    ExportedName{"trace", "_MTrace_Always"}, ExportedName{"errorlog", "_MErrLog_Location"},
                    ExportedName{"errorlog", "_MErrLog_Add"}, ExportedName{"errortrace", "_MErrTrace_Location"},
                    ExportedName{"errortrace", "_MErrTrace_Add"}, ExportedName{"errortrace", "MErrTrace_BeginContext"},
                    ExportedName{"errortrace", "MErrTrace_EndContext"},
                    ExportedName{"errortrace", "MErrTrace_ClearContext"},
                    ExportedName{"errortrace", "_MErrTrace_DumpContextToMErrLog"}),
    [](const auto& row) { return std::string(row.param.library) + row.param.name; });

}  // namespace
