// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "Statuses.h"

namespace standin
{

const char* statusDescription(ViStatus status)
{
    switch (status)
    {
    case VI_SUCCESS:
        return "Operation completed successfully.";
    case VI_WARN_NULL_OBJECT:
        return "The specified object reference is uninitialized.";
    case VI_WARN_UNKNOWN_STATUS:
        return "The status code passed to the operation could not be interpreted.";
    case VI_ERROR_SYSTEM_ERROR:
        return "Unknown system error (miscellaneous error).";
    case VI_ERROR_INV_OBJECT:
        return "The given session or object reference is invalid.";
    case VI_ERROR_INV_EXPR:
        return "Invalid expression specified for search.";
    case VI_ERROR_RSRC_NFOUND:
        return "Insufficient location information or the requested device or resource is not present in the system.";
    case VI_ERROR_INV_RSRC_NAME:
        return "Invalid resource reference specified. Parsing error.";
    case VI_ERROR_NSUP_ATTR:
        return "The specified attribute is not defined or supported by the referenced object.";
    case VI_ERROR_NSUP_ATTR_STATE:
        return "The specified state of the attribute is not valid, or is not supported as defined by the object.";
    case VI_ERROR_ALLOC:
        return "Insufficient system resources to perform necessary memory allocation.";
    case VI_ERROR_NSUP_OPER:
        return "The given session or object reference does not support this operation.";
    case VI_ERROR_USER_BUF:
        return "A specified user buffer is not valid or cannot be accessed for the required size.";
    default:
        return nullptr;
    }
}

} // namespace standin
