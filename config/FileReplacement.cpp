// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "FileReplacement.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <linux/limits.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace KyVisa
{

namespace
{

constexpr int maximumLinkDepth = 40; // the kernel's limit
constexpr int maximumAttempts = 10;
constexpr int maximumLockAttempts = 20;
constexpr useconds_t lockPause = 1000; // microseconds; removing left-over files takes less
constexpr mode_t newFileMode = 0666;   // before the umask
constexpr mode_t privateMode = 0600;
constexpr mode_t ownerOnly = 0700;
constexpr std::size_t smallestBlock = 4096;
constexpr std::string_view temporaryBegin = ".visa.conf.";
constexpr std::string_view temporaryEnd = ".tmp";
constexpr const char* accessListName = "system.posix_acl_access";

[[noreturn]] void throwError(int error, const char* operation)
{
    throw std::system_error(error, std::generic_category(), operation);
}

/// Returns the result of a system call, or throws its error.
template <typename Result>
Result checked(Result result, const char* operation)
{
    if (result < 0)
        throwError(errno, operation);
    return result;
}

/// Returns whether the folder does not permit a rename.
bool isForbidden(int error)
{
    return error == EBUSY || error == EACCES || error == EPERM || error == EROFS;
}

bool isUnsupported(int error)
{
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

class Descriptor
{
public:
    explicit Descriptor(int descriptor = -1) : m_descriptor(descriptor) {}

    Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }

    ~Descriptor()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }

    [[nodiscard]] int get() const { return m_descriptor; }

    /// Leaves the descriptor open for its next owner.
    void release() { m_descriptor = -1; }

private:
    int m_descriptor;
};

bool readAll(int descriptor, std::string& bytes)
{
    struct stat status = {};
    // One byte more than the file has, so that read() finds the end without resizing.
    const bool known = ::fstat(descriptor, &status) == 0 && status.st_size > 0;
    bytes.resize(known ? static_cast<std::size_t>(status.st_size) + 1 : smallestBlock);
    std::size_t length = 0;
    for (;;)
    {
        if (length == bytes.size())
            bytes.resize(2 * length);
        const ssize_t count = ::read(descriptor, bytes.data() + length, bytes.size() - length);
        if (count > 0)
            length += static_cast<std::size_t>(count);
        else if (count == 0 || errno != EINTR)
        {
            bytes.resize(length);
            return count == 0;
        }
    }
}

void writeAll(int descriptor, std::string_view bytes)
{
    off_t position = 0;
    while (!bytes.empty())
    {
        const ssize_t written = ::pwrite(descriptor, bytes.data(), bytes.size(), position);
        if (written < 0 && errno == EINTR)
            continue;
        bytes.remove_prefix(static_cast<std::size_t>(checked(written, "write")));
        position += written;
    }
}

/// Returns where a chain of symbolic links ends. That file need not exist.
std::filesystem::path linkTarget(std::filesystem::path path)
{
    for (int depth = 0; depth < maximumLinkDepth; ++depth)
    {
        std::error_code error;
        const std::filesystem::path next = std::filesystem::read_symlink(path, error);
        if (error == std::errc::invalid_argument || error == std::errc::no_such_file_or_directory)
            return path;
        if (error)
            throw std::system_error(error);
        path = path.parent_path() / next;
    }
    throwError(ELOOP, "readlink");
}

struct stat statusOf(int descriptor)
{
    struct stat status = {};
    checked(::fstat(descriptor, &status), "fstat");
    return status;
}

/// Returns the status of a name in a folder, if it exists. Does not follow a symbolic link.
std::optional<struct stat> statusOf(int folder, const std::string& name)
{
    struct stat status = {};
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return status;
    if (errno != ENOENT)
        throwError(errno, "fstatat");
    return {};
}

bool isSameFile(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool isUnchanged(const struct stat& one, const struct stat& other)
{
    return isSameFile(one, other) && one.st_size == other.st_size && one.st_mtim.tv_sec == other.st_mtim.tv_sec &&
           one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

bool isTemporary(std::string_view name)
{
    return name.size() > temporaryBegin.size() + temporaryEnd.size() &&
           name.substr(0, temporaryBegin.size()) == temporaryBegin &&
           name.substr(name.size() - temporaryEnd.size()) == temporaryEnd;
}

/// A folder, open and under a shared lock. While it is locked, other processes leave its temporary files alone.
class Folder
{
public:
    explicit Folder(const std::string& path)
        : m_descriptor(
              checked(::openat(AT_FDCWD, path.empty() ? "." : path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC), "open")),
          m_readable(::openat(m_descriptor.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        removeLeftOvers();
        // Use the folder without a lock if it is not readable, has no locks, or stays locked.
        for (int count = 0; count < maximumLockAttempts; ++count)
        {
            if (::flock(m_readable.get(), LOCK_SH | LOCK_NB) == 0 || errno != EWOULDBLOCK)
                break;
            ::usleep(lockPause);
        }
    }

    [[nodiscard]] int get() const { return m_descriptor.get(); }

    /// Writes the names to the disk. Ignores a failure, because the files are in their places.
    void sync() const { ::fsync(m_readable.get()); }

private:
    /// Removes the temporary files of processes that were killed.
    void removeLeftOvers()
    {
        // A descriptor of its own: closing it unlocks the folder, whatever fails.
        Descriptor listed(::openat(get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (::flock(listed.get(), LOCK_EX | LOCK_NB) != 0)
            return;
        const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(listed.get()), ::closedir);
        if (!listing)
            return;
        listed.release();
        while (const dirent* entry = ::readdir(listing.get()))
        {
            const char* name = static_cast<const char*>(entry->d_name);
            if (isTemporary(name))
                ::unlinkat(get(), name, 0);
        }
    }

    Descriptor m_descriptor;
    Descriptor m_readable;
};

/// The file to replace. It is opened once, and everything about it is read through this descriptor.
struct OldFile
{
    Descriptor descriptor;
    struct stat status = {};
    std::string bytes;

    /// Returns nothing if there is no such file.
    static std::optional<OldFile> open(int folder, const std::string& name)
    {
        const auto listed = KyVisa::statusOf(folder, name);
        if (!listed)
            return {};
        // Do not open devices or pipes: that may have an effect.
        if (!S_ISREG(listed->st_mode))
            throwError(EINVAL, "open");
        OldFile old;
        old.descriptor =
            Descriptor(checked(::openat(folder, name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC), "open"));
        old.status = KyVisa::statusOf(old.descriptor.get());
        if (!S_ISREG(old.status.st_mode))
            throwError(EINVAL, "open");
        if (!readAll(old.descriptor.get(), old.bytes))
            throwError(errno, "read");
        return old;
    }
};

enum class Outcome
{
    Replaced,
    Changed,   ///< somebody else changed the file: try again
    Forbidden, ///< the folder permits no rename
};

std::string temporaryName()
{
    std::random_device random;
    return std::string(temporaryBegin) + std::to_string(random()) + std::string(temporaryEnd);
}

/// A new file. The destructor removes it unless it has taken a lasting name. Where the file system can do that, it has
/// no name until it is complete.
class NewFile
{
public:
    NewFile(int folder, mode_t mode) : NewFile(folder)
    {
        // An unnamed file gets its name through this folder.
        if (::faccessat(AT_FDCWD, "/proc/self/fd", X_OK, 0) == 0)
            m_descriptor = Descriptor(::openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
        else
            errno = EOPNOTSUPP;
        if (m_descriptor.get() < 0 && isUnsupported(errno))
            createNamed(mode);
        checked(m_descriptor.get(), "open");
    }

    ~NewFile()
    {
        if (!m_name.empty())
            ::unlinkat(m_folder, m_name.c_str(), 0);
    }

    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Takes mode, access control list, owner and group of the old file, as far as the process may set them.
    void beLike(const OldFile& old);

    /// Fills the file and writes it to the disk. Without that, a power failure after the rename could leave it empty.
    void fill(std::string_view bytes)
    {
        writeAll(m_descriptor.get(), bytes);
        checked(::fsync(m_descriptor.get()), "fsync");
    }

    /// Takes the first free name of `name`.~1~, `name`.~2~... and returns it.
    std::string stayAsCopyOf(const std::string& name);

    /// Takes the place of the old file. Without one, takes `name`, which must be free.
    Outcome takePlaceOf(const std::optional<OldFile>& old, const std::string& name);

private:
    explicit NewFile(int folder) : m_folder(folder) {}

    void createNamed(mode_t mode);
    [[nodiscard]] int linkAs(const std::string& name) const;
    void keepUnless(const OldFile& old, const std::string& name);
    bool takeGroupOf(const struct stat& old);

    int m_folder;
    Descriptor m_descriptor;
    std::string m_name; ///< the temporary one, if any
};

void NewFile::createNamed(mode_t mode)
{
    do
    {
        m_name = temporaryName();
        m_descriptor =
            Descriptor(::openat(m_folder, m_name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    } while (m_descriptor.get() < 0 && errno == EEXIST);
    if (m_descriptor.get() < 0)
        m_name.clear();
}

/// Returns whether the group is the old one's.
bool NewFile::takeGroupOf(const struct stat& old)
{
    const struct stat own = statusOf(m_descriptor.get());
    if (own.st_uid == old.st_uid && own.st_gid == old.st_gid)
        return true;
    // Only root may change the owner. A user may still choose among the own groups.
    if (::fchown(m_descriptor.get(), old.st_uid, old.st_gid) == 0)
        return true;
    // EINVAL: this user namespace has no such owner.
    if (errno != EPERM && errno != EINVAL)
        throwError(errno, "fchown");
    return ::fchown(m_descriptor.get(), static_cast<uid_t>(-1), old.st_gid) == 0;
}

void NewFile::beLike(const OldFile& old)
{
    std::string list(XATTR_SIZE_MAX, '\0');
    const ssize_t length = ::fgetxattr(old.descriptor.get(), accessListName, list.data(), list.size());
    if (length < 0 && errno != ENODATA && errno != EOPNOTSUPP)
        throwError(errno, "fgetxattr");

    // If the group cannot be kept, drop the group's permissions and the list.
    const int descriptor = m_descriptor.get();
    const bool groupKept = takeGroupOf(old.status);
    const mode_t withoutGroup = old.status.st_mode & 07707U;
    if (length <= 0 || !groupKept)
    {
        // The folder's default list may have set one.
        if (::fremovexattr(descriptor, accessListName) != 0 && errno != ENODATA && errno != EOPNOTSUPP)
            throwError(errno, "fremovexattr");
        checked(::fchmod(descriptor, groupKept ? old.status.st_mode & 07777U : withoutGroup), "fchmod");
        return;
    }
    checked(::fchmod(descriptor, withoutGroup), "fchmod");
    // With a list, the group's bits of the mode are its mask. Without the list they would open the file to the group.
    if (::fsetxattr(descriptor, accessListName, list.data(), static_cast<std::size_t>(length), 0) != 0 &&
        errno != EOPNOTSUPP)
        throwError(errno, "fsetxattr");
}

int NewFile::linkAs(const std::string& name) const
{
    if (m_name.empty())
    {
        const std::string self = "/proc/self/fd/" + std::to_string(m_descriptor.get());
        return ::linkat(AT_FDCWD, self.c_str(), m_folder, name.c_str(), AT_SYMLINK_FOLLOW);
    }
    if (::renameat2(m_folder, m_name.c_str(), m_folder, name.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    return isUnsupported(errno) ? ::linkat(m_folder, m_name.c_str(), m_folder, name.c_str(), 0) : -1;
}

std::string NewFile::stayAsCopyOf(const std::string& name)
{
    for (int number = 1;; ++number)
    {
        std::string copy = name + ".~" + std::to_string(number) + "~";
        if (linkAs(copy) == 0)
            return copy;
        if (errno != EEXIST)
            throwError(errno, "link");
    }
}

/// Keeps the replaced file as a copy if it is not the old one, because somebody else has just written it.
void NewFile::keepUnless(const OldFile& old, const std::string& name)
{
    try
    {
        if (const auto replaced = statusOf(m_folder, m_name); replaced && !isUnchanged(*replaced, old.status))
            stayAsCopyOf(name);
    }
    catch (const std::system_error&)
    {
        // No copy can be made. Leave it under its temporary name; the next save removes it.
        m_name.clear();
    }
}

Outcome NewFile::takePlaceOf(const std::optional<OldFile>& old, const std::string& name)
{
    while (m_name.empty())
    {
        std::string temporary = temporaryName();
        if (linkAs(temporary) == 0)
            m_name = std::move(temporary);
        else if (errno != EEXIST)
            throwError(errno, "link");
    }

    // After an exchange, unlike a rename, the replaced file is still there.
    int result =
        ::renameat2(m_folder, m_name.c_str(), m_folder, name.c_str(), old ? RENAME_EXCHANGE : RENAME_NOREPLACE);
    if (result == 0 && old)
    {
        keepUnless(*old, name);
        return Outcome::Replaced;
    }
    if (result != 0 && isUnsupported(errno))
    {
        const auto present = statusOf(m_folder, name);
        if (present.has_value() != old.has_value() || (old && !isUnchanged(*present, old->status)))
            return Outcome::Changed;
        result = ::renameat(m_folder, m_name.c_str(), m_folder, name.c_str());
    }
    if (result == 0)
    {
        m_name.clear();
        return Outcome::Replaced;
    }
    if (errno == (old ? ENOENT : EEXIST))
        return Outcome::Changed;
    if (old && isForbidden(errno))
        return Outcome::Forbidden;
    throwError(errno, "rename");
}

/// A copy of an old file. It appears whole, and the destructor removes it unless keep() was called.
class Copy
{
public:
    Copy(const std::string& folder, const std::string& name, const OldFile& old) : m_folder(folder)
    {
        NewFile file(m_folder.get(), privateMode);
        file.beLike(old);
        file.fill(old.bytes);
        m_name = file.stayAsCopyOf(name);
        m_folder.sync();
    }

    ~Copy()
    {
        if (!m_kept)
            ::unlinkat(m_folder.get(), m_name.c_str(), 0);
    }

    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    void keep(bool kept) { m_kept = kept; }

private:
    Folder m_folder;
    std::string m_name;
    bool m_kept = false;
};

/// Writes into an existing file.
void overwrite(int descriptor, std::string_view bytes)
{
    writeAll(descriptor, bytes);
    checked(::ftruncate(descriptor, static_cast<off_t>(bytes.size())), "ftruncate");
    checked(::fsync(descriptor), "fsync");
}

/// One attempt to replace a file that is no symbolic link.
class Attempt
{
public:
    Attempt(std::string folder, std::string name, std::string copyFolder)
        : m_folderName(std::move(folder)), m_name(std::move(name)), m_copyFolder(std::move(copyFolder)),
          m_folder(m_folderName), m_old(OldFile::open(m_folder.get(), m_name))
    {
    }

    [[nodiscard]] const std::optional<OldFile>& old() const { return m_old; }

    Outcome replaceByRename(std::string_view bytes, bool needsCopy);
    /// Requires an old file.
    Outcome writeInPlace(std::string_view bytes, bool needsCopy);

private:
    /// Returns null if no copy can be made in either folder.
    [[nodiscard]] std::unique_ptr<Copy> makeCopy() const;

    std::string m_folderName;
    std::string m_name;
    std::string m_copyFolder;
    Folder m_folder;
    std::optional<OldFile> m_old;
};

std::unique_ptr<Copy> Attempt::makeCopy() const
{
    for (const std::string* folder : {&m_folderName, &m_copyFolder})
    {
        try
        {
            if (folder == &m_copyFolder)
                ::mkdir(folder->c_str(), ownerOnly);
            if (folder == &m_folderName || !folder->empty())
                return std::make_unique<Copy>(*folder, m_name, *m_old);
        }
        catch (const std::system_error&)
        {
            continue;
        }
    }
    return nullptr;
}

Outcome Attempt::replaceByRename(std::string_view bytes, bool needsCopy)
try
{
    NewFile file(m_folder.get(), m_old ? privateMode : newFileMode);
    if (m_old)
        file.beLike(*m_old);
    file.fill(bytes);
    const std::unique_ptr<Copy> copy = needsCopy ? makeCopy() : nullptr;
    const Outcome outcome = file.takePlaceOf(m_old, m_name);
    if (outcome != Outcome::Replaced)
        return outcome;
    if (copy)
        copy->keep(true);
    m_folder.sync();
    return outcome;
}

catch (const std::system_error& error)
{
    if (m_old && isForbidden(error.code().value()))
        return Outcome::Forbidden;
    throw;
}

Outcome Attempt::writeInPlace(std::string_view bytes, bool needsCopy)
{
    const std::unique_ptr<Copy> copy = makeCopy();
    const int descriptor = m_old->descriptor.get();
    if (!isUnchanged(statusOf(descriptor), m_old->status))
        return Outcome::Changed;
    // Find out that the disk is full before overwriting anything.
    const int reserved =
        bytes.empty() ? 0 : ::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes.size()));
    if (reserved != 0 && !isUnsupported(errno))
        throwError(errno, "fallocate");

    if (copy)
        copy->keep(true);
    try
    {
        overwrite(descriptor, bytes);
    }
    catch (const std::system_error&)
    {
        overwrite(descriptor, m_old->bytes);
        if (copy)
            copy->keep(false);
        throw;
    }
    if (copy)
        copy->keep(needsCopy);
    return Outcome::Replaced;
}

} // namespace

bool readFile(const std::string& path, std::string& bytes)
{
    bytes.clear();
    const Descriptor file(::openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC));
    return file.get() >= 0 && readAll(file.get(), bytes);
}

void FileReplacement::replaceBy(std::string_view bytes) const
{
    const std::filesystem::path target = linkTarget(path);
    for (int count = 0; count < maximumAttempts; ++count)
    {
        Attempt attempt(target.parent_path(), target.filename(), copyFolder);
        const auto& old = attempt.old();
        const bool needed = old && needsCopy && needsCopy(old->bytes);
        Outcome outcome = Outcome::Forbidden;
        // After a rename, the other hard links would still be the old file.
        if (!old || old->status.st_nlink <= 1)
            outcome = attempt.replaceByRename(bytes, needed);
        if (outcome == Outcome::Forbidden)
            outcome = attempt.writeInPlace(bytes, needed);
        if (outcome == Outcome::Replaced)
            return;
    }
    throwError(EBUSY, "rename");
}

} // namespace KyVisa
