#include <cstdlib>
#include <cstring>

#include <uuid/uuid.h>

#include "platform.h"

extern "C" RPC_STATUS UuidCreateSequential(UUID* uuid) {
    static_assert(sizeof(uuid_t) == sizeof(UUID));
    // Not "safe" in libuuid's sense means that no daemon ordered it machine-wide: Windows' "local only".
    return uuid_generate_time_safe(uuid->bytes) == 0 ? RPC_S_OK : RPC_S_UUID_LOCAL_ONLY;
}

extern "C" RPC_STATUS UuidCreate(UUID* uuid) {
    uuid_generate_random(uuid->bytes);
    return RPC_S_OK;
}

extern "C" RPC_STATUS UuidToStringA(const UUID* uuid, RPC_CSTR* text) {
    constexpr std::size_t kTextBytes = 37;
    const auto block = static_cast<char*>(std::malloc(kTextBytes));
    if (!block) return static_cast<RPC_STATUS>(ERROR_NOT_ENOUGH_MEMORY);
    uuid_unparse_lower(uuid->bytes, block);
    *text = reinterpret_cast<RPC_CSTR>(block);
    return RPC_S_OK;
}

extern "C" RPC_STATUS RpcStringFreeA(RPC_CSTR* text) {
    std::free(*text);
    return RPC_S_OK;
}
