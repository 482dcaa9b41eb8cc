// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace KyVisa
{

/// Replaces one file by new bytes. The old or the new bytes are always complete, in the file or in a copy. The
/// exception is a write in place that is killed, or fails and cannot be undone, when no copy could be made.
struct FileReplacement
{
    /// The file, or a symbolic link to it. It need not exist, but its folder must.
    std::string path;
    /// The folder for a copy that cannot be made beside the file, or empty. Its last part is created if needed.
    std::string copyFolder;
    /// Returns whether the old bytes must stay in a copy, path.~1~ (or ~2~...). An empty function means no.
    std::function<bool(const std::string& oldBytes)> needsCopy;

    /// Renames a new file over the old one. Writes into the old one instead if it is a mount point, if it has several
    /// hard links, or if the folder permits no rename. Mode, access control list, group and owner stay, as far as the
    /// process may set them. Makes no second copy of the same bytes. Replaces the file even if no copy can be made.
    ///
    /// Throws std::system_error if the save fails: also if the process may not both read and write the file, if it is
    /// not a regular file, or if others change it at each of ten attempts. The file is then unchanged, unless a write
    /// in place could not be undone.
    void replaceBy(std::string_view bytes) const;
};

} // namespace KyVisa
