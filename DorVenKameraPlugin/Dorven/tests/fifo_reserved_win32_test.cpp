// Another Windows program may have reserved "DorVenImages" without committing it: touching it is a fault.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "acquisition_fixture.h"
#include "platform.h"

namespace {

using namespace test::acquisition;

TEST_F(AcquisitionTest, MemoryThatIsReservedAloneIsReportedAndNotTouched) {
    const HANDLE mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | SEC_RESERVE, 0, 0x10000, "DorVenImages");
    ASSERT_NE(mapping, nullptr);
    _event->answer(kSignal);
    grabAndPlay();
    EXPECT_THAT(_log.errors(),
                testing::ElementsAre(
                    "kest::dorven::openImageFifo() : image fifo is inconsistent: 0 bytes are too few for its header"));
    EXPECT_TRUE(_source->freeze());
    CloseHandle(mapping);
}

}  // namespace
