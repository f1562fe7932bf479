// Calls that fail on demand. No formatter fails on both systems, nor does the coder at all, so the sources under test,
// which are compiled into this program, call these functions under the names of platform_vformat and MBase64_Encode.
#pragma once

namespace test {

/// How many calls of the formatter fail from now on.
extern int formatsRefused;

/// Whether the coder answers 2 characters less than it wrote.
extern bool encodesShort;

}  // namespace test
