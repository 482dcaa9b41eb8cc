// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace KyVisa
{

/// Replaces one file by new bytes. If a write in place fails or is killed, and no copy could be made, the old bytes are
/// lost. Otherwise there are always the old or the new ones.
struct FileReplacement
{
    /// The file, or a symbolic link to it. It need not exist, but its folder must.
    std::string path;
    /// The folder for a copy that cannot lie beside the file, or empty. Only its last part is made when it is needed.
    std::string copyFolder;
    /// Returns whether the old bytes must stay in a copy, path.~1~ (or ~2~...). May be empty: no copy.
    std::function<bool(const std::string& oldBytes)> needsCopy;

    /// Renames a new file over the old one. Writes into the old one instead if it is a mount point, if it has several
    /// hard links, or if the folder permits no rename. Mode, access control list, group and owner stay, as far as the
    /// process may set them. Makes no second copy of the same bytes. Replaces the file even if no copy can be made.
    ///
    /// Throws std::system_error if anything fails, if the process may not both read and write the file, if it is not a
    /// regular file, or if others change it at each of ten attempts. The file is then as it was, unless a write in
    /// place could not be undone.
    void replaceBy(std::string_view bytes) const;
};

} // namespace KyVisa
