#include "VLDirAttributes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>

#include <linux/magic.h>
#include <sys/statfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "Core/VLException.h"

std::optional<std::string> VLDirAttributes::get(const std::string& path, const char* name) {
  char small[256];
  ssize_t length = lgetxattr(path.c_str(), name, small, sizeof small);
  if (length >= 0) return std::string(small, static_cast<size_t>(length));
  if (errno != ERANGE) return std::nullopt;
  // Tags may outgrow the small buffer; ask for the size and read again.
  for (int attempt = 0; attempt < 3; ++attempt) {
    ssize_t size = lgetxattr(path.c_str(), name, nullptr, 0);
    if (size < 0) return std::nullopt;
    std::string value(static_cast<size_t>(size), '\0');
    length = lgetxattr(path.c_str(), name, value.data(), value.size());
    if (length >= 0) return value.substr(0, static_cast<size_t>(length));
    if (errno != ERANGE) return std::nullopt;
  }
  return std::nullopt;
}

bool VLDirAttributes::set(const std::string& path, const char* name, const std::string& value) {
  return lsetxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

bool VLDirAttributes::remove(const std::string& path, const char* name) {
  return lremovexattr(path.c_str(), name) == 0 || errno == ENODATA;
}

std::string VLDirAttributes::fileSystemName(const std::string& path) {
  struct statfs info {};
  if (statfs(path.c_str(), &info) != 0) return "unknown";
  static const std::map<unsigned long, const char*> names = {
      {EXT4_SUPER_MAGIC, "ext2/ext3/ext4"}, {TMPFS_MAGIC, "tmpfs"},   {BTRFS_SUPER_MAGIC, "btrfs"},
      {XFS_SUPER_MAGIC, "xfs"},             {OVERLAYFS_SUPER_MAGIC, "overlayfs"},
      {NFS_SUPER_MAGIC, "nfs"},             {MSDOS_SUPER_MAGIC, "vfat"}, {0x65735546UL, "fuse"},
      {0x01021997UL, "9p"},                 {0x794c7630UL, "overlayfs"}, {0x2011BAB0UL, "exfat"},
      {0x5346544eUL, "ntfs"},               {SYSFS_MAGIC, "sysfs"},               {SQUASHFS_MAGIC, "squashfs"}, {RAMFS_MAGIC, "ramfs"},
      {PROC_SUPER_MAGIC, "proc"},           {0xFF534D42UL, "cifs"},     {0xca451a4eUL, "bcachefs"}};
  auto type = static_cast<unsigned long>(info.f_type) & 0xffffffffUL;
  auto found = names.find(type);
  if (found != names.end()) return found->second;
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%lx", type);
  return hex;
}

void VLDirAttributes::requireSupport(const std::string& directory) {
  // Try on a file of our own rather than on the folder: some file systems take attributes on
  // folders only, and every item needs one.
  std::string probe = directory + "/.vaultline-xattr-probe-XXXXXX";
  int fd = mkstemp(probe.data());
  if (fd < 0) {
    throw VLException("Cannot write in " + directory + " (" + std::strerror(errno) + ")");
  }
  close(fd);
  bool supported = set(probe, kIdentifier, "probe") && get(probe, kIdentifier) == std::optional<std::string>("probe");
  int code = errno;
  unlink(probe.c_str());
  if (!supported) {
    throw VLException("The file system of " + directory + " (" + fileSystemName(directory) +
                      ") does not keep user. extended attributes (" + std::strerror(code) +
                      "); vlprovider-dir keeps identifiers, tags, favourite ranks and last-used dates in them");
  }
}
