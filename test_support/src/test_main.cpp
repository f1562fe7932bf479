// main of every test program: runs the child role that the command line names, otherwise the tests.
#include <gmock/gmock.h>

#include "child_process.h"
#include "test_namespace.h"

int main(int argc, char** argv) {
    const test::ObjectNamespace ownNamespace;  // inherited by children, removed at the end
    if (const auto exitCode = test::runRole(argc, argv)) return *exitCode;
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
