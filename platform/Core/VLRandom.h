// Cryptographically strong random bytes from the operating system.
#pragma once

#include <cstddef>

// Fills `length` bytes at `buffer` from the system's cryptographic random source, in one
// request where the source allows it. Throws VLException if the source fails.
void vl_randomBytes(void* buffer, size_t length);
