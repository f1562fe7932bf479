// Temporary files that this process created and has neither renamed nor removed. Each stays open, so that it can be
// distinguished from a file found under its name later: anybody who may write the folder could have put another file
// there, or a link to a file elsewhere. Names are those of nativePath; one thread at a time uses a name.
#pragma once

#include <string>
#include <string_view>

#include "descriptor_posix.h"

/// Takes over the descriptor of a file that was created under that name. Throws what containers throw without memory.
void TemporaryFiles_Remember(const std::string& path, Descriptor& descriptor);

/// The descriptor of the file that was created under that name; the table keeps it. -1 when there is none.
int TemporaryFiles_Find(std::string_view path);

/// Whether such a file was created and now another one, or none, has its name.
bool TemporaryFiles_IsReplaced(const char* path);

/// Whether two descriptors refer to one file.
bool TemporaryFiles_AreSame(int descriptor, int other);

/// Forgets the name.
void TemporaryFiles_Forget(std::string_view path);
