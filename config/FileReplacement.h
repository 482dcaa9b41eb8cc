// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace KyVisa
{

/// Reads a file through one descriptor. Returns whether the end was reached; otherwise `bytes` holds what could be
/// read.
bool readFile(const std::string& path, std::string& bytes);

/// How one file is replaced by new bytes. Neither a failure nor the end of the process loses the old bytes.
struct FileReplacement
{
    /// The file, or a symbolic link to it. It is made where there is none, in a folder that exists.
    std::string path;
    /// Where a copy goes that cannot lie beside the file, or empty. The last folder of this path is made when it is
    /// needed.
    std::string copyFolder;
    /// Asked with the bytes of the old file: whether they must stay in a copy, path.~1~ (or ~2~...).
    std::function<bool(const std::string& oldBytes)> needsCopy;

    /// Replaces the file: by a temporary file that is renamed over it or, where that is impossible (the file is a
    /// mount point, the folder does not permit it) or wrong (the file has several hard links), by writing into it.
    /// The new file has mode, access control list, group and, where the process may give files away, owner of the
    /// old one. A copy that can be made in neither place is left out.
    ///
    /// Throws std::system_error, the file being as before, when anything fails, when the process may not read and
    /// write the file, and when it is not a regular one.
    void replaceBy(std::string_view bytes) const;
};

} // namespace KyVisa
