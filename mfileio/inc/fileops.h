// Small operations on files by name.
#pragma once

/// Whether a file or folder of that name exists. Any reason for which it cannot be seen counts as absent.
bool file_access(const char* name);
