// What people are told of an exception.
#pragma once

#include <exception>
#include <new>
#include <string>

namespace options {

/// Its own text; that of the language's library would be no sentence.
inline std::string exceptionText(const std::exception& exception) {
    return dynamic_cast<const std::bad_alloc*>(&exception) ? "out of memory" : exception.what();
}

}  // namespace options
