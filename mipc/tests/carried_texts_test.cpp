// Texts that no call can produce, but that tools look for in the built files.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "child_process.h"
#include "mmemfifo.h"
#include "mmemlinefifo.h"

namespace {

std::string ownProgram() {
    std::ifstream file(test::programPath(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(CarriedTexts, StandInTheBuiltFile) {
    // Makes the linker include both objects.
    EXPECT_EQ(MMemFifo_Create(nullptr, 1), 0);
    EXPECT_EQ(MMemLineFifo_Create(nullptr, 1, 1), 0);
    const std::string program = ownProgram();
    for (const std::string function :
         {"MMemFifo_Create", "MMemFifo_Link", "MMemLineFifo_Create", "MMemLineFifo_Link"}) {
        // Underscores instead of spaces, so that this test does not find its own text.
        std::string rest = "():_Address_of_write_offset_(%p)_is_not_aligned_to_%Iu";
        std::replace(rest.begin(), rest.end(), '_', ' ');
        EXPECT_NE(program.find(function + rest), std::string::npos) << function;
    }
    EXPECT_EQ(program.find("MMemLineFifo_Dest" + std::string("roy(): Address of")), std::string::npos);
}

}  // namespace
