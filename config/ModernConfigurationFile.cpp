// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "ModernConfigurationFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <locale>
#include <sstream>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace KyVisa
{

namespace
{

constexpr std::string_view providerKey = ":Provider=";
constexpr int maximumLinkDepth = 40; // as the kernel has it
constexpr mode_t newFileMode = 0666; // before the umask
constexpr mode_t privateMode = 0600;
constexpr std::size_t copyBlock = 65536;

[[noreturn]] void throwErrno(const char* operation)
{
    throw std::system_error(errno, std::generic_category(), operation);
}

/// A new file, open for writing, that is removed again unless it is kept.
class NewFile
{
public:
    /// Creates the first of `stem`1`suffix`, `stem`2`suffix`... that does not exist.
    NewFile(const std::string& stem, const std::string& suffix, mode_t mode)
    {
        for (int number = 1; m_descriptor < 0; ++number)
        {
            m_path = stem;
            m_path.append(std::to_string(number)).append(suffix);
            m_descriptor = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
            if (m_descriptor < 0 && errno != EEXIST)
                throwErrno("open");
        }
    }

    ~NewFile()
    {
        ::close(m_descriptor);
        if (!m_kept)
            ::unlink(m_path.c_str());
    }

    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Takes over mode and access control list and, as far as the process may give files away, owner and group.
    void likeFile(const std::string& path, const struct stat& status)
    {
        // Only root may give a file away; the group may still be one of the user's own. Another group gets nothing,
        // neither by the mode nor by the list.
        const bool groupKept = ::fchown(m_descriptor, status.st_uid, status.st_gid) == 0 ||
                               ::fchown(m_descriptor, static_cast<uid_t>(-1), status.st_gid) == 0;
        const mode_t mode = status.st_mode & (groupKept ? 07777U : 07707U);
        if (::fchmod(m_descriptor, mode) != 0)
            throwErrno("fchmod");
        if (!groupKept)
            return;

        const char* listName = "system.posix_acl_access";
        std::string list(XATTR_SIZE_MAX, '\0');
        const ssize_t length = ::getxattr(path.c_str(), listName, list.data(), list.size());
        if (length > 0 && ::fsetxattr(m_descriptor, listName, list.data(), static_cast<std::size_t>(length), 0) != 0)
            throwErrno("fsetxattr");
    }

    void write(std::string_view bytes)
    {
        while (!bytes.empty())
        {
            const ssize_t written = ::write(m_descriptor, bytes.data(), bytes.size());
            if (written >= 0)
                bytes.remove_prefix(static_cast<std::size_t>(written));
            else if (errno != EINTR)
                throwErrno("write");
        }
    }

    /// Leaves the file where it was created.
    void keep()
    {
        sync();
        m_kept = true;
    }

    /// Puts the file in the place of another.
    void keepAs(const std::string& path)
    {
        sync();
        if (::rename(m_path.c_str(), path.c_str()) != 0)
            throwErrno("rename");
        m_kept = true;
    }

private:
    /// A file that is renamed before its bytes are on the disk could be empty after a power failure.
    void sync()
    {
        if (::fsync(m_descriptor) != 0)
            throwErrno("fsync");
    }

    std::string m_path;
    int m_descriptor = -1;
    bool m_kept = false;
};

/// The file that a chain of symbolic links ends at, whether it exists or not.
std::filesystem::path linkTarget(std::filesystem::path path)
{
    for (int depth = 0; depth < maximumLinkDepth; ++depth)
    {
        std::error_code notALink;
        const std::filesystem::path next = std::filesystem::read_symlink(path, notALink);
        if (notALink)
            return path;
        path = path.parent_path() / next;
    }
    throw std::system_error(std::make_error_code(std::errc::too_many_symbolic_link_levels));
}

/// Copies a file to the first free of path.~1~, path.~2~...
void keepCopy(const std::string& path, const struct stat& status)
{
    NewFile copy(path + ".~", "~", privateMode);
    copy.likeFile(path, status);
    std::ifstream original(path, std::ios::binary);
    std::array<char, copyBlock> block = {};
    while (original.read(block.data(), block.size()) || original.gcount() > 0)
        copy.write({block.data(), static_cast<std::size_t>(original.gcount())});
    // A file that does not open, and one that fails on the way, did not reach its end.
    if (!original.eof())
        throwErrno("read");
    copy.keep();
}

} // namespace

ModernConfigurationFile::ModernConfigurationFile(const std::string& fileName) : m_fileName(fileName) {}

const std::string& ModernConfigurationFile::GetVersionString()
{
    static const std::string s_versionString = ":KyVisaConfigurationFileVersion01";
    return s_versionString;
}

std::string ModernConfigurationFile::upperCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char byte) { return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte; });
    return text;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is an interface.
bool ModernConfigurationFile::isParseAble(std::string fileName) noexcept
{
    try
    {
        // No more than the version line is read: the first line of another file may be of any length.
        std::string begin(GetVersionString().size(), '\0');
        std::ifstream(fileName, std::ios::binary).read(begin.data(), static_cast<std::streamsize>(begin.size()));
        return begin == GetVersionString();
    }
    catch (...)
    {
        return false;
    }
}

SGpibProperties ModernConfigurationFile::getGpibProperties(std::uint16_t deviceNo) const
{
    return propertiesOf(m_gpibProperties, deviceNo);
}

GpibPropertiesMap ModernConfigurationFile::getGpibProperties() const
{
    return m_gpibProperties;
}

SSerialProperties ModernConfigurationFile::getSerialProperties(std::uint16_t deviceNo) const
{
    return propertiesOf(m_serialProperties, deviceNo);
}

SerialPropertiesMap ModernConfigurationFile::getSerialProperties() const
{
    return m_serialProperties;
}

ProviderId ModernConfigurationFile::getProvider() const
{
    return m_provider;
}

void ModernConfigurationFile::parse(AliasMap& aliases, std::vector<std::string>& resources, ProviderId& provider)
{
    readLines();
    aliases = m_aliases;
    resources = m_resources;
    provider = m_provider;
}

bool ModernConfigurationFile::readLines()
{
    m_aliases.clear();
    m_resources.clear();
    m_gpibProperties.clear();
    m_serialProperties.clear();
    try
    {
        std::ifstream file(m_fileName, std::ios::binary);
        for (std::string line; std::getline(file, line);)
            readLine(line);
        return file.eof();
    }
    catch (...)
    {
        return false;
    }
}

void ModernConfigurationFile::readLine(const std::string& line)
{
    // The provider is looked for first and anywhere, so also in a comment or behind an alias.
    if (const std::size_t key = line.find(providerKey); key != std::string::npos)
    {
        m_provider = static_cast<ProviderId>(std::stoi(line.substr(key + providerKey.size())));
        return;
    }
    if (line.empty() || line.front() == ':' || line.front() == '#')
        return;
    if (const std::size_t separator = line.find('='); separator != std::string::npos)
        m_aliases[upperCase(line.substr(0, separator))] = line.substr(separator + 1);
    else
        m_resources.push_back(line);
}

std::string ModernConfigurationFile::text() const
{
    std::ostringstream lines;
    lines.imbue(std::locale::classic());
    lines << GetVersionString() << '\n' << providerKey << m_provider << '\n';
    for (const auto& [deviceNo, properties] : m_serialProperties)
    {
        const std::string prefix = ":SerialProperty[DeviceNo=" + std::to_string(deviceNo) + "].";
        lines << prefix << "Baudrate=" << properties.baudRate << '\n'
              << prefix << "DataBits=" << unsigned{properties.dataBits} << '\n'
              << prefix << "StopBits=" << unsigned{properties.stopBits} << '\n'
              << prefix << "Parity=" << unsigned{properties.parity} << '\n'
              << prefix << "FlowControl=" << unsigned{properties.flowControl} << '\n';
    }
    for (const std::string& resource : m_resources)
        lines << resource << '\n';
    for (const auto& [alias, resource] : m_aliases)
        lines << alias << '=' << resource << '\n';
    return lines.str();
}

void ModernConfigurationFile::save() const
{
    try
    {
        replaceFile();
    }
    catch (...)
    {
        // Failures are quiet by contract; the old file is whole.
        return;
    }
}

void ModernConfigurationFile::replaceFile() const
{
    const std::filesystem::path target = linkTarget(m_fileName);
    struct stat status = {};
    const bool exists = ::stat(target.c_str(), &status) == 0;
    // Renaming over a write-protected file, or over a device, would succeed where writing to it must not.
    if (exists && (!S_ISREG(status.st_mode) || ::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0))
        return;

    NewFile file((target.parent_path() / ".visa.conf.").string(), ".tmp", exists ? privateMode : newFileMode);
    if (exists)
        file.likeFile(target, status);
    file.write(text());
    if (exists && status.st_size > 0 && (m_replacesUnread || !isReadWhole(target)))
        keepCopy(target, status);
    file.keepAs(target);
}

bool ModernConfigurationFile::isReadWhole(const std::string& fileName)
{
    return isParseAble(fileName) && ModernConfigurationFile(fileName).readLines();
}

} // namespace KyVisa
