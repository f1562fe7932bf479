// Refuses memory to MIniData_GetContentString in this test program.
#pragma once

namespace test {

/// Whether its allocation fails, with errno ENOMEM.
extern bool mallocFails;

}  // namespace test
