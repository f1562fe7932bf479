// Temporary files that this process made and has neither renamed nor removed. Each is held open, so that the file which
// is found under its name later can be told from it: who may write the folder could have put another one there, or a
// link to a file elsewhere. Names are those of nativePath, each used by one thread at a time.
#pragma once

#include <string>
#include <string_view>

#include "descriptor_posix.h"

/// Takes over the descriptor of a file that was made under that name. Throws what containers throw without memory.
void TemporaryFiles_Remember(const std::string& path, Descriptor& descriptor);

/// The descriptor of the file that was made under that name, which stays ours; -1 when there is none.
int TemporaryFiles_Find(std::string_view path);

/// Whether such a file was made and another one, or none, stands under its name now.
bool TemporaryFiles_IsReplaced(const char* path);

/// Whether two descriptors are of one file.
bool TemporaryFiles_AreSame(int descriptor, int other);

/// The name has been given up.
void TemporaryFiles_Forget(std::string_view path);
