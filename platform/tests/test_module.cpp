// A library for the tests of loading: all that it has is one function that can be looked up.
#include "platform.h"

#if defined(_WIN32)
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __attribute__((visibility("default")))
#endif

extern "C" EXPORTED int testModuleAnswers() { return 42; }
