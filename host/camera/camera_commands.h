// Numbers of a device's commands, each under its operation's name: command_id::openImageDevice is 1001. They come from
// the framework's own list.
#pragma once

#include <cstdint>

namespace host::command_id {

enum : std::int32_t {
#define COMMAND(id, operation) operation = (id),
#define COMMAND_AS(id, operation, parameter, result) operation = (id),
#include "CommandList.inc"
#undef COMMAND
#undef COMMAND_AS
};

}  // namespace host::command_id
