// Lets the allocation in MIniData_GetContentString fail in this test program.
#pragma once

namespace test {

/// Whether its allocation fails, with errno ENOMEM.
extern bool mallocFails;

}  // namespace test
