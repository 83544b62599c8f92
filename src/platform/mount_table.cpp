#include "platform/mount_table.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

namespace lumisk {
namespace {

constexpr const char* kMountInfo = "/proc/self/mountinfo";

struct TableDeleter {
  void operator()(libmnt_table* table) const { mnt_unref_table(table); }
};
struct IteratorDeleter {
  void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

std::string textOf(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
}

MountEntry entryOf(libmnt_fs* mount) {
  MountEntry entry;
  entry.mountPoint = textOf(mnt_fs_get_target(mount));
  entry.fileSystem = textOf(mnt_fs_get_fstype(mount));
  entry.source = textOf(mnt_fs_get_source(mount));
  entry.id = static_cast<std::uint64_t>(mnt_fs_get_id(mount));
  entry.device = mnt_fs_get_devno(mount);
  entry.root = textOf(mnt_fs_get_root(mount));
  entry.mountOptions = textOf(mnt_fs_get_vfs_options(mount));
  entry.fileSystemOptions = textOf(mnt_fs_get_fs_options(mount));
  entry.isReadOnly = mnt_fs_get_option(mount, "ro", nullptr, nullptr) == 0;
  return entry;
}

template <std::size_t Size>
bool contains(const std::string_view (&names)[Size], std::string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

}  // namespace

Result<std::vector<MountEntry>> mountTable() {
  const std::unique_ptr<libmnt_table, TableDeleter> table(mnt_new_table());
  const std::unique_ptr<libmnt_iter, IteratorDeleter> iterator(mnt_new_iter(MNT_ITER_FORWARD));
  if (!table || !iterator) return fail("read the mount table", kMountInfo, ENOMEM);
  if (const int status = mnt_table_parse_file(table.get(), kMountInfo); status != 0)
    return fail("read the mount table", kMountInfo, status < 0 ? -status : EIO);
  std::vector<MountEntry> entries;
  libmnt_fs* mount = nullptr;
  while (mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) entries.push_back(entryOf(mount));
  return entries;
}

MountChanges::MountChanges() : table_(::open(kMountInfo, O_RDONLY | O_CLOEXEC)) {}

// proc(5): a change makes the open table readable "exceptionally", once.
bool MountChanges::haveHappened() {
  pollfd table{table_.get(), POLLPRI, 0};
  return !table_.isOpen() || ::poll(&table, 1, 0) != 0;
}

// Not libmount's list: that one counts tmpfs, overlay, virtiofs and encrypting file systems, too, which hold files that
// somebody wants back.
bool isPseudoFileSystem(const std::string& fileSystem) {
  static constexpr std::string_view kNames[] = {
      "anon_inodefs", "apparmorfs", "bdev",       "binder",  "binfmt_misc", "bpf",       "cgroup",     "cgroup2",
      "configfs",     "cpuset",     "debugfs",    "devfs",   "devpts",      "devtmpfs",  "dlmfs",      "dmabuf",
      "drm",          "efivarfs",   "fuse.lxcfs", "fusectl", "fuse.portal", "hugetlbfs", "ipathfs",    "mqueue",
      "nfsd",         "nsfs",       "pipefs",     "proc",    "pstore",      "resctrl",   "rpc_pipefs", "securityfs",
      "selinuxfs",    "smackfs",    "sockfs",     "spufs",   "sysfs",       "tracefs",   "usbfs"};
  return contains(kNames, fileSystem);
}

bool isNetworkFileSystem(const std::string& fileSystem) {
  static constexpr std::string_view kMore[] = {
      "beegfs",          "ceph",        "coda",      "davfs",     "fuse.ceph", "fuse.davfs2", "fuse.glusterfs",
      "fuse.gvfsd-fuse", "fuse.rclone", "fuse.s3fs", "glusterfs", "lustre",    "smb3"};
  return mnt_fstype_is_netfs(fileSystem.c_str()) != 0 || contains(kMore, fileSystem);
}

}  // namespace lumisk
