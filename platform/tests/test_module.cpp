// A library for the tests of loading; it contains one function to look up.
#include "platform.h"

#if defined(_WIN32)
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __attribute__((visibility("default")))
#endif

extern "C" EXPORTED int testModuleAnswers() { return 42; }
