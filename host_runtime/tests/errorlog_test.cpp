#include "errorlog.h"

#include <cstdint>
#include <limits>

#include <gmock/gmock.h>

#include "log_recorder.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

TEST(ErrorLog, AnEntryCarriesItsLocation) {
    const test::LogRecorder recorder(0);
    _MErrLog_Location(0, "mutil/src/massert", 61);
    _MErrLog_Add("%s: %d", "text", 5);
    ASSERT_THAT(recorder.entries(), SizeIs(1));
    const test::LogEntry entry = recorder.entries()[0];
    EXPECT_EQ(entry.sink, LogSink::errorLog);
    EXPECT_EQ(entry.level, 0);
    EXPECT_EQ(entry.file, "mutil/src/massert");
    EXPECT_EQ(entry.line, 61);
    EXPECT_EQ(entry.channel, "");
    EXPECT_EQ(entry.text, "text: 5");
}

TEST(ErrorLog, ALocationServesOneEntry) {
    const test::LogRecorder recorder;
    _MErrLog_Location(0, "file", 61);
    _MErrLog_Add("located");
    _MErrLog_Add("not located");
    EXPECT_EQ(recorder.entries().at(1).file, "");
    EXPECT_EQ(recorder.entries().at(1).line, 0);
}

TEST(ErrorLog, SizesPrintInFullOnEverySystem) {
    const test::LogRecorder recorder;
    _MErrLog_Add("size %Iu is not supported", std::numeric_limits<std::size_t>::max());
    _MErrLog_Add("%Iu < %Id", std::size_t{81985529216486895}, std::ptrdiff_t{-81985529216486895});
    EXPECT_THAT(recorder.errors(),
                ElementsAre("size 18446744073709551615 is not supported", "81985529216486895 < -81985529216486895"));
}

TEST(ErrorLog, LongTextsWithSizesAreComplete) {
    const test::LogRecorder recorder;
    const std::string text(3000, 'z');
    _MErrLog_Add("%s %Iu %s", text.c_str(), std::numeric_limits<std::size_t>::max(), "end");
    EXPECT_THAT(recorder.errors(), ElementsAre(text + " 18446744073709551615 end"));
}

TEST(ErrorLog, PercentSignsInArgumentsStay) {
    const test::LogRecorder recorder;
    _MErrLog_Add("%s", "100%s %n %d");
    EXPECT_THAT(recorder.errors(), ElementsAre("100%s %n %d"));
}

}  // namespace
