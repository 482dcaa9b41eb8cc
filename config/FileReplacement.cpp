// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "FileReplacement.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace KyVisa
{

namespace
{

constexpr int maximumAttempts = 10;
constexpr int longestLockWait = 20; // milliseconds
constexpr int lockedNames = 2;      // temporary names that need the lock: for a new file and for a copy
constexpr const char* accessListName = "system.posix_acl_access";

/// Returns the result of a system call, or throws its error.
template <typename Result>
Result checked(Result result)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category());
    return result;
}

/// As checked(), but it is no error if the file system lacks the feature or the file the attribute.
template <typename Result>
Result checkedIfKnown(Result result)
{
    const bool isUnknown = errno == ENODATA || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    return result < 0 && isUnknown ? result : checked(result);
}

/// Owns a file descriptor. It may be negative; system calls that use it then fail.
struct Descriptor
{
    explicit Descriptor(int opened) : number(opened) {}

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor() { ::close(number); }

    const int number;
};

/// The path of a file that this save has made, or an empty one. The destructor removes the file unless it is kept.
struct MadeName
{
    explicit MadeName(std::string made) : path(std::move(made)) {}

    MadeName(const MadeName&) = delete;

    ~MadeName()
    {
        if (!isKept)
            ::unlink(path.c_str());
    }

    const std::string path;
    bool isKept = false;
};

/// Returns where a chain of symbolic links ends. That file need not exist.
std::filesystem::path linkTarget(std::filesystem::path path)
{
    static_cast<void>(std::filesystem::status(path)); // throws if the links form a loop
    while (std::filesystem::is_symlink(path))
        path = path.parent_path() / std::filesystem::read_symlink(path);
    return path;
}

/// Returns the status of a path, or nothing if it does not exist. Does not follow a symbolic link.
std::optional<struct stat> statusOf(const std::string& path)
{
    struct stat status = {};
    const int result = ::lstat(path.c_str(), &status);
    if (result != 0 && (errno == ENOENT || errno == ENAMETOOLONG))
        return {};
    checked(result);
    return status;
}

/// Replaces the contents of a file and syncs it. Without the sync, a power failure after a rename could leave the file
/// empty.
void writeAll(int descriptor, std::string_view bytes)
{
    off_t position = 0;
    while (!bytes.empty())
    {
        const ssize_t count = checked(::pwrite(descriptor, bytes.data(), bytes.size(), position));
        bytes.remove_prefix(static_cast<std::size_t>(count));
        position += count;
    }
    checked(::ftruncate(descriptor, position));
    checked(::fsync(descriptor));
}

/// A regular file, opened once. Everything about it is read through this descriptor.
struct OldFile
{
    /// Throws if the process may not both read and write the file, or if it is not a regular file.
    explicit OldFile(const std::string& path) : descriptor(open(path))
    {
        checked(::fstat(descriptor.number, &status));
        std::string block(65536, '\0');
        while (const ssize_t count = checked(::read(descriptor.number, block.data(), block.size())))
            bytes.append(block, 0, static_cast<std::size_t>(count));
    }

    static int open(const std::string& path)
    {
        // Opening a device can have an effect, so check first. O_NONBLOCK, because a pipe may replace the file later.
        const auto status = statusOf(path);
        if (!status || !S_ISREG(status->st_mode))
            throw std::system_error(EINVAL, std::generic_category());
        return checked(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    }

    [[nodiscard]] bool isSameAs(const struct stat& other) const
    {
        return other.st_dev == status.st_dev && other.st_ino == status.st_ino;
    }

    /// Returns whether the path still names this file, with the size, time, mode, owner and group that were read.
    [[nodiscard]] bool isStillAt(const std::string& path) const
    {
        const auto now = statusOf(path);
        return now && isSameAs(*now) && now->st_size == status.st_size && now->st_mode == status.st_mode &&
               now->st_uid == status.st_uid && now->st_gid == status.st_gid &&
               now->st_mtim.tv_sec == status.st_mtim.tv_sec && now->st_mtim.tv_nsec == status.st_mtim.tv_nsec;
    }

    Descriptor descriptor;
    struct stat status = {};
    std::string bytes;
};

/// Gives a new file the owner, group, mode and access control list of the old one, as far as permitted. If the group
/// cannot be kept, drops the group's permissions and the list.
void takeAccess(int descriptor, const OldFile& old)
{
    std::string list(XATTR_SIZE_MAX, '\0');
    const ssize_t length = checkedIfKnown(::fgetxattr(old.descriptor.number, accessListName, list.data(), list.size()));
    // Only root may change the owner. Any user may choose one of the user's own groups.
    const bool isGroupKept = ::fchown(descriptor, old.status.st_uid, old.status.st_gid) == 0 ||
                             ::fchown(descriptor, static_cast<uid_t>(-1), old.status.st_gid) == 0;
    const bool hasList = isGroupKept && length > 0;
    // The new file may have a list from the folder's default.
    if (!hasList)
        checkedIfKnown(::fremovexattr(descriptor, accessListName));
    // With a list, the group bits of the mode are the list's mask. Without it they would give the group access.
    checked(::fchmod(descriptor, old.status.st_mode & (isGroupKept && !hasList ? 07777U : 07707U)));
    if (hasList)
        checkedIfKnown(::fsetxattr(descriptor, accessListName, list.data(), static_cast<std::size_t>(length), 0));
}

/// A new file under a temporary name.
struct NewFile
{
    Descriptor descriptor;
    MadeName name;
};

/// A folder, locked against other saves. The save goes on without the lock if the folder is not readable, has no locks,
/// or stays locked.
class Folder
{
public:
    /// Removes the temporary files of a killed save, if they belong to this user or, for root, to the file's owner.
    Folder(const std::string& folder, const std::optional<struct stat>& file)
        : m_path(folder.empty() ? "." : folder),
          m_descriptor(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        for (int count = 0; ::flock(m_descriptor.number, LOCK_EX | LOCK_NB) != 0; ++count)
        {
            if (errno != EWOULDBLOCK || count == longestLockWait)
                return;
            ::usleep(1000);
        }
        m_isLocked = true;
        for (int number = 1; number <= lockedNames; ++number)
        {
            struct stat status = {};
            if (::lstat(temporaryPath(number).c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
                (status.st_uid == ::geteuid() || (::geteuid() == 0 && file && status.st_uid == file->st_uid)))
                ::unlink(temporaryPath(number).c_str());
        }
    }

    [[nodiscard]] std::string operator/(const std::string& name) const { return m_path + "/" + name; }

    /// Creates an empty file under a free temporary name. Without the lock, skips the names that another save removes.
    [[nodiscard]] NewFile create(mode_t mode) const
    {
        for (int number = m_isLocked ? 1 : lockedNames + 1;; ++number)
        {
            const std::string path = temporaryPath(number);
            const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
            if (descriptor >= 0 || errno != EEXIST)
                return {Descriptor(checked(descriptor)), MadeName(path)};
        }
    }

    /// Writes the names to the disk. Ignores a failure, because the files already have their names.
    void sync() const { ::fsync(m_descriptor.number); }

private:
    /// Contains the host's name: a network file system may lock a folder for one host only.
    [[nodiscard]] std::string temporaryPath(int number) const
    {
        struct utsname host = {};
        ::uname(&host);
        return m_path + "/.visa.conf.KyVisaConfigure." + host.nodename + "." + std::to_string(number);
    }

    std::string m_path;
    Descriptor m_descriptor;
    bool m_isLocked = false;
};

/// The copies of a file: name.~1~, name.~2~ and so on.
struct Copies
{
    std::string freePath;   ///< the first name without a file
    nlink_t links = 0;      ///< hard links to the file: a save was killed between its link and its rename
    bool haveBytes = false; ///< whether a copy has the same bytes
};

/// A save to a file that is no symbolic link. Keeps its folder locked.
struct Save
{
    const std::filesystem::path path;
    const FileReplacement& replacement;
    const Folder folder = Folder(path.parent_path(), statusOf(path));

    /// Returns false and leaves the file alone if somebody else changes it meanwhile.
    [[nodiscard]] bool attempt(std::string_view bytes) const
    {
        std::optional<OldFile> old;
        if (statusOf(path))
            old.emplace(path);
        const bool needsCopy = old && replacement.needsCopy && replacement.needsCopy(old->bytes);
        // After a rename, the user's hard links would still name the old file.
        if (old && old->status.st_nlink > 1 && old->status.st_nlink > 1 + copiesOf(*old, folder).links)
            return writeInPlace(*old, bytes, needsCopy);
        try
        {
            return replaceByRename(old, bytes, needsCopy);
        }
        catch (const std::system_error& error)
        {
            const int number = error.code().value();
            if (!old || (number != EBUSY && number != EACCES && number != EPERM && number != EROFS))
                throw;
            return writeInPlace(*old, bytes, needsCopy);
        }
    }

private:
    [[nodiscard]] bool replaceByRename(const std::optional<OldFile>& old, std::string_view bytes, bool needsCopy) const
    {
        NewFile file = folder.create(old ? S_IRUSR | S_IWUSR : DEFFILEMODE);
        if (old)
            takeAccess(file.descriptor.number, *old);
        writeAll(file.descriptor.number, bytes);
        MadeName copy(needsCopy ? makeCopy(*old, true) : "");
        const bool isChanged = old ? !old->isStillAt(path) : statusOf(path).has_value();
        copy.isKept = isChanged; // Another save may rely on it.
        if (isChanged)
            return false;
        checked(::rename(file.name.path.c_str(), path.c_str()));
        copy.isKept = file.name.isKept = true;
        folder.sync();
        return true;
    }

    [[nodiscard]] bool writeInPlace(const OldFile& old, std::string_view bytes, bool needsCopy) const
    {
        MadeName copy(makeCopy(old, false));
        const bool isChanged = !old.isStillAt(path);
        copy.isKept = isChanged && needsCopy; // Another save may rely on it.
        if (isChanged)
            return false;
        // Notice a full disk before overwriting anything.
        const int descriptor = old.descriptor.number;
        checkedIfKnown(::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes.size())));

        copy.isKept = true;
        try
        {
            writeAll(descriptor, bytes);
        }
        catch (const std::system_error&)
        {
            writeAll(descriptor, old.bytes);
            copy.isKept = false;
            throw;
        }
        copy.isKept = needsCopy;
        return true;
    }

    [[nodiscard]] Copies copiesOf(const OldFile& old, const Folder& place) const
    {
        Copies copies;
        for (int number = 1;; ++number)
        {
            copies.freePath = place / (path.filename().string() + ".~" + std::to_string(number) + "~");
            const auto status = statusOf(copies.freePath);
            if (!status)
                return copies;
            if (old.isSameAs(*status))
                ++copies.links;
            else if (S_ISREG(status->st_mode) && status->st_size == old.status.st_size)
            {
                std::ifstream copy(copies.freePath, std::ios::binary);
                const auto begin = std::istreambuf_iterator<char>(copy);
                copies.haveBytes = copies.haveBytes || std::equal(old.bytes.begin(), old.bytes.end(), begin, {});
            }
        }
    }

    /// Makes a copy beside the file, or else in copyFolder. Returns its path, or an empty one if there is a copy
    /// already or none can be made.
    [[nodiscard]] std::string makeCopy(const OldFile& old, bool mayBeLink) const
    {
        const std::string& other = replacement.copyFolder;
        std::optional<std::string> copy = makeCopyIn(folder, old, mayBeLink);
        if (!copy && !other.empty() && other != path.parent_path())
        {
            ::mkdir(other.c_str(), S_IRWXU);
            copy = makeCopyIn(Folder(other, old.status), old, false);
        }
        return copy.value_or("");
    }

    /// Makes a copy, which gets its name when it is complete. A hard link needs no room on a full disk and keeps all
    /// attributes, but a write in place would change it too. Returns nothing if no copy can be made.
    [[nodiscard]] std::optional<std::string> makeCopyIn(const Folder& place, const OldFile& old, bool mayBeLink) const
    try
    {
        const Copies copies = copiesOf(old, place);
        const char* free = copies.freePath.c_str();
        if (copies.haveBytes || (mayBeLink && copies.links > 0))
            return "";
        // Do not link another user's file: in a sticky folder, this user could not remove the link.
        if (mayBeLink && old.status.st_uid == ::geteuid() && ::link(path.c_str(), free) == 0)
            return copies.freePath;

        NewFile file = place.create(S_IRUSR | S_IWUSR);
        takeAccess(file.descriptor.number, old);
        writeAll(file.descriptor.number, old.bytes);
        // Try link() first: rename() would replace a copy that another process has just made.
        if (::link(file.name.path.c_str(), free) != 0)
        {
            checked(errno == EEXIST ? -1 : ::rename(file.name.path.c_str(), free));
            file.name.isKept = true;
        }
        place.sync();
        return copies.freePath;
    }

    catch (const std::system_error&)
    {
        return {};
    }
};

} // namespace

void FileReplacement::replaceBy(std::string_view bytes) const
{
    const Save save = {linkTarget(path), *this};
    for (int count = 0; count < maximumAttempts; ++count)
    {
        if (save.attempt(bytes))
            return;
    }
    throw std::system_error(EBUSY, std::generic_category());
}

} // namespace KyVisa
