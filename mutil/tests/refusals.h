// Calls that fail on demand. No formatter fails on both systems, and the coder never fails. So the sources under test
// are compiled into this program and call these functions under the names of platform_vformat and MBase64_Encode.
#pragma once

namespace test {

/// How many of the next formatter calls fail.
extern int formatsRefused;

/// Whether the coder reports 2 characters fewer than it wrote.
extern bool encodesShort;

}  // namespace test
