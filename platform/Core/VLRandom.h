// Cryptographically strong random bytes from the operating system.
#pragma once

#include <cstddef>
#include <string>

// Fills `length` bytes at `buffer` from the system's cryptographic random source, in one
// request where the source allows it. Throws VLException if the source fails.
void vl_randomBytes(void* buffer, size_t length);
// Returns a new random (version 4) UUID string in upper case, e.g.
// "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
std::string vl_UUIDString();
