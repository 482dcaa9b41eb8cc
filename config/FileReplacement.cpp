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

/// As checked(), but what a file system does not know, or does not have, is no error.
template <typename Result>
Result checkedIfKnown(Result result)
{
    const bool isUnknown = errno == ENODATA || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    return result < 0 && isUnknown ? result : checked(result);
}

/// Owns a file descriptor. If it is negative, every system call that uses it fails.
struct Descriptor
{
    explicit Descriptor(int opened) : number(opened) {}

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor() { ::close(number); }

    const int number;
};

/// A name that this save has made, or an empty one. The destructor removes it unless it is kept.
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
    static_cast<void>(std::filesystem::status(path)); // throws if the links go round in a circle
    while (std::filesystem::is_symlink(path))
        path = path.parent_path() / std::filesystem::read_symlink(path);
    return path;
}

/// Returns the status of a name, of a symbolic link its own, or nothing if there is no such name.
std::optional<struct stat> statusOf(const std::string& path)
{
    struct stat status = {};
    const int result = ::lstat(path.c_str(), &status);
    if (result != 0 && (errno == ENOENT || errno == ENAMETOOLONG))
        return {};
    checked(result);
    return status;
}

/// Makes the bytes the contents of a file, and writes it to the disk. Without that, a power failure after a rename
/// could leave the file empty.
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
        // Opening a device may have an effect, so look first. O_NONBLOCK: the name may become a pipe after the look.
        const auto status = statusOf(path);
        if (!status || !S_ISREG(status->st_mode))
            throw std::system_error(EINVAL, std::generic_category());
        return checked(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    }

    [[nodiscard]] bool isSameAs(const struct stat& other) const
    {
        return other.st_dev == status.st_dev && other.st_ino == status.st_ino;
    }

    /// Returns whether the path still names this file, and nobody has written into it or changed who may use it.
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

/// Makes a new file as accessible as the old one. If the group cannot be kept, drops the group's permissions and the
/// access control list.
void takeAccess(int descriptor, const OldFile& old)
{
    std::string list(XATTR_SIZE_MAX, '\0');
    const ssize_t length = checkedIfKnown(::fgetxattr(old.descriptor.number, accessListName, list.data(), list.size()));
    // Only root may change the owner. A user may still choose among the own groups.
    const bool isGroupKept = ::fchown(descriptor, old.status.st_uid, old.status.st_gid) == 0 ||
                             ::fchown(descriptor, static_cast<uid_t>(-1), old.status.st_gid) == 0;
    const bool hasList = isGroupKept && length > 0;
    // The folder's default list may have set one.
    if (!hasList)
        checkedIfKnown(::fremovexattr(descriptor, accessListName));
    // With a list, the group's bits of the mode are its mask. Without the list they would open the file to the group.
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

/// A folder, locked against other saves. If it is not readable, has no locks, or stays locked, the save goes on without
/// the lock.
class Folder
{
public:
    /// Removes what a killed save has left: regular files of this user, and for root, of the owner of the file to save.
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

    /// Creates an empty file under a temporary name that is free. A save without the lock does not use those names that
    /// another save removes.
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

    /// Writes the names to the disk. Ignores a failure, because the files are in their places.
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

/// What lies under the names for copies of a file: name.~1~, name.~2~ and so on.
struct Copies
{
    std::string freePath;   ///< the first one that nothing lies under
    nlink_t links = 0;      ///< those that are the file itself: a save was killed between its link and its rename
    bool haveBytes = false; ///< whether another file has the same bytes
};

/// A save to a file that is no symbolic link. Its folder stays locked.
struct Save
{
    const std::filesystem::path path;
    const FileReplacement& replacement;
    const Folder folder = Folder(path.parent_path(), statusOf(path));

    /// Returns false and changes nothing if somebody else changes the file meanwhile.
    [[nodiscard]] bool attempt(std::string_view bytes) const
    {
        std::optional<OldFile> old;
        if (statusOf(path))
            old.emplace(path);
        const bool needsCopy = old && replacement.needsCopy && replacement.needsCopy(old->bytes);
        // After a rename, hard links of the user would still be the old file.
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
        copy.isKept = isChanged; // Another save may count on it.
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
        copy.isKept = isChanged && needsCopy; // Another save may count on it.
        if (isChanged)
            return false;
        // Find out that the disk is full before overwriting anything.
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

    /// Makes a copy beside the file, or else in the other folder, and returns its path. The path is empty if there is a
    /// copy already, or if none can be made.
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

    /// Makes a copy, which appears whole. A link needs no room on a full disk and keeps everything about the file, but
    /// is no copy for a write in place. Returns nothing if no copy can be made.
    [[nodiscard]] std::optional<std::string> makeCopyIn(const Folder& place, const OldFile& old, bool mayBeLink) const
    try
    {
        const Copies copies = copiesOf(old, place);
        const char* free = copies.freePath.c_str();
        if (copies.haveBytes || (mayBeLink && copies.links > 0))
            return "";
        // Somebody else's file can be linked in a sticky folder, but the link could not be removed.
        if (mayBeLink && old.status.st_uid == ::geteuid() && ::link(path.c_str(), free) == 0)
            return copies.freePath;

        NewFile file = place.create(S_IRUSR | S_IWUSR);
        takeAccess(file.descriptor.number, old);
        writeAll(file.descriptor.number, old.bytes);
        // Where there are links, not rename(): it would replace a copy that another process has just made.
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
