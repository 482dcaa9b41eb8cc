// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Statuses.h"

#include <array>
#include <utility>

namespace standin
{

const char* statusDescription(ViStatus status)
{
    constexpr std::array<std::pair<ViStatus, const char*>, 22> descriptions = {{
        {VI_SUCCESS, "Operation completed successfully."},
        {VI_SUCCESS_TERM_CHAR, "The specified termination character was read."},
        {VI_SUCCESS_MAX_CNT,
         "The number of bytes transferred is equal to the requested input count. More data may be available."},
        {VI_WARN_NULL_OBJECT, "The specified object reference is uninitialized."},
        {VI_WARN_UNKNOWN_STATUS, "The status code passed to the operation could not be interpreted."},
        {VI_ERROR_SYSTEM_ERROR, "Unknown system error (miscellaneous error)."},
        {VI_ERROR_INV_OBJECT, "The given session or object reference is invalid."},
        {VI_ERROR_RSRC_LOCKED, "Specified type of lock cannot be obtained, or specified operation cannot be performed, "
                               "because the resource is locked."},
        {VI_ERROR_INV_EXPR, "Invalid expression specified for search."},
        {VI_ERROR_RSRC_NFOUND,
         "Insufficient location information or the requested device or resource is not present in the system."},
        {VI_ERROR_INV_RSRC_NAME, "Invalid resource reference specified. Parsing error."},
        {VI_ERROR_TMO, "Timeout expired before operation completed."},
        {VI_ERROR_NSUP_ATTR, "The specified attribute is not defined or supported by the referenced object."},
        {VI_ERROR_NSUP_ATTR_STATE,
         "The specified state of the attribute is not valid, or is not supported as defined by the object."},
        {VI_ERROR_ATTR_READONLY, "The specified attribute is read-only."},
        {VI_ERROR_ALLOC, "Insufficient system resources to perform necessary memory allocation."},
        {VI_ERROR_IO, "Could not perform operation because of I/O error."},
        {VI_ERROR_NSUP_OPER, "The given session or object reference does not support this operation."},
        {VI_ERROR_USER_BUF, "A specified user buffer is not valid or cannot be accessed for the required size."},
        {VI_ERROR_RSRC_BUSY, "The resource is valid, but VISA cannot currently access it."},
        {VI_ERROR_CONN_LOST, "The connection for the given session has been lost."},
        {VI_ERROR_NPERMISSION, "Access to the resource or remote machine is denied."},
    }};
    for (const auto& [known, text] : descriptions)
    {
        if (known == status)
            return text;
    }
    return nullptr;
}

} // namespace standin
