// The reference host as a program.
#pragma once

namespace host {

/// Command line, plugin, command. @return Exit code.
int hostMain(int argc, const char* const* argv);

}  // namespace host
