// Windows has no selectable name spaces of objects; tests use unique names and a CTest resource lock.
#pragma once

namespace test {

class ObjectNamespace {
public:
    ObjectNamespace() {}  // user-provided, so that the object counts as used
};

}  // namespace test
