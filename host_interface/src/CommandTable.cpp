#include "CommandTable.h"

#include <cstddef>
#include <iterator>

#include "CommandAdapter.h"

namespace NUV {
namespace {

struct CommandRow {
    std::int32_t id;
    CommandAdapter adapter;
};

constexpr CommandRow kCommands[] = {
#define COMMAND(id, operation) {id, bind<&PluginDeviceBase::operation>()},
#define COMMAND_AS(id, operation, parameter, result) {id, bind<&PluginDeviceBase::operation, parameter, result>()},
#include "CommandList.inc"
#undef COMMAND
#undef COMMAND_AS
};

constexpr bool idsAscend(const CommandRow* rows, std::size_t count) {
    for (std::size_t i = 1; i < count; ++i) {
        if (rows[i - 1].id >= rows[i].id) return false;
    }
    return true;
}

static_assert(std::size(kCommands) == 111 && idsAscend(kCommands, std::size(kCommands)));

}  // namespace

std::map<std::int32_t, CommandAdapter> makeCommandMap() {
    std::map<std::int32_t, CommandAdapter> commands;
    for (const CommandRow& row : kCommands) commands.emplace_hint(commands.end(), row.id, row.adapter);
    return commands;
}

}  // namespace NUV
