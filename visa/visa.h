// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

/// The whole boundary to libkyvisa.so, the vendor's or the stand-in: the VISA calls that this project uses, declared
/// as in the public standard (VPP-4.3, VPP-4.3.2). Any thread may call. A negative status is an error. The caller owns
/// all buffers.

#pragma once

#include <cstdint>
#include <type_traits>

using ViChar = char;
using ViConstString = const ViChar*;
using ViStatus = std::int32_t; ///< negative: an error, 0: success, positive: success with a warning
using ViUInt16 = std::uint16_t;
using ViUInt32 = std::uint32_t;
using ViObject = std::uint32_t;
using ViSession = ViObject;
using ViFindList = ViObject;
using ViAttr = std::uint32_t;
using ViAttrState = std::uintptr_t;

static_assert(sizeof(ViStatus) == 4 && std::is_signed_v<ViStatus>);
static_assert(sizeof(ViObject) == 4 && std::is_unsigned_v<ViObject>);
static_assert(sizeof(ViAttr) == 4 && std::is_unsigned_v<ViAttr>);
static_assert(sizeof(ViUInt16) == 2 && sizeof(ViUInt32) == 4);
static_assert(sizeof(ViAttrState) == sizeof(void*));

constexpr ViObject VI_NULL = 0;
constexpr unsigned VI_FIND_BUFLEN = 256; ///< bytes of a description buffer, including the NUL

constexpr ViStatus VI_SUCCESS = 0;
constexpr ViStatus VI_SUCCESS_TERM_CHAR = 0x3FFF0005;
constexpr ViStatus VI_SUCCESS_MAX_CNT = 0x3FFF0006;
constexpr ViStatus VI_WARN_NULL_OBJECT = 0x3FFF0082;
constexpr ViStatus VI_WARN_UNKNOWN_STATUS = 0x3FFF0085;
constexpr ViStatus VI_ERROR_SYSTEM_ERROR = static_cast<ViStatus>(0xBFFF0000);
constexpr ViStatus VI_ERROR_INV_OBJECT = static_cast<ViStatus>(0xBFFF000E);
constexpr ViStatus VI_ERROR_RSRC_LOCKED = static_cast<ViStatus>(0xBFFF000F);
constexpr ViStatus VI_ERROR_INV_EXPR = static_cast<ViStatus>(0xBFFF0010);
constexpr ViStatus VI_ERROR_RSRC_NFOUND = static_cast<ViStatus>(0xBFFF0011);
constexpr ViStatus VI_ERROR_INV_RSRC_NAME = static_cast<ViStatus>(0xBFFF0012);
constexpr ViStatus VI_ERROR_TMO = static_cast<ViStatus>(0xBFFF0015);
constexpr ViStatus VI_ERROR_NSUP_ATTR = static_cast<ViStatus>(0xBFFF001D);
constexpr ViStatus VI_ERROR_NSUP_ATTR_STATE = static_cast<ViStatus>(0xBFFF001E);
constexpr ViStatus VI_ERROR_ATTR_READONLY = static_cast<ViStatus>(0xBFFF001F);
constexpr ViStatus VI_ERROR_ALLOC = static_cast<ViStatus>(0xBFFF003C);
constexpr ViStatus VI_ERROR_IO = static_cast<ViStatus>(0xBFFF003E);
constexpr ViStatus VI_ERROR_NSUP_OPER = static_cast<ViStatus>(0xBFFF0067);
constexpr ViStatus VI_ERROR_USER_BUF = static_cast<ViStatus>(0xBFFF0071);
constexpr ViStatus VI_ERROR_RSRC_BUSY = static_cast<ViStatus>(0xBFFF0072);
constexpr ViStatus VI_ERROR_CONN_LOST = static_cast<ViStatus>(0xBFFF00A6);
constexpr ViStatus VI_ERROR_NPERMISSION = static_cast<ViStatus>(0xBFFF00A8);
static_assert(VI_ERROR_RSRC_NFOUND == -1073807343);

constexpr ViUInt16 VI_INTF_GPIB = 1;
constexpr ViUInt16 VI_INTF_ASRL = 4;
constexpr ViUInt16 VI_INTF_TCPIP = 6;
constexpr ViUInt16 VI_INTF_USB = 7;

constexpr ViAttr VI_ATTR_RSRC_MANF_ID = 0x3FFF0175;   ///< 16 bit; the provider ID
constexpr ViAttr VI_ATTR_RSRC_MANF_NAME = 0xBFFF0174; ///< text of up to VI_FIND_BUFLEN bytes

// Attributes of the KyVisa library itself, for sessions of the default resource manager.
constexpr ViAttr KYVISA_ATTR_SEARCH_TIME = 0x0F9C0001;      ///< time limit of a network search, in ms
constexpr ViAttr KYVISA_ATTR_NETWORK_SEARCHES = 0x0F9C0002; ///< 0: this machine only, 7: every network search

extern "C"
{
    /// Opens a session. viClose() closes it and its find lists.
    ViStatus viOpenDefaultRM(ViSession* resourceManager);

    /// Sets an attribute of a session or find list. VI_ERROR_NSUP_ATTR: there is no such attribute.
    /// VI_ERROR_ATTR_READONLY: it cannot be set. VI_ERROR_NSUP_ATTR_STATE: the value is out of range.
    ViStatus viSetAttribute(ViObject object, ViAttr attribute, ViAttrState value);

    /// Writes the first match and the number of matches, and opens a list of the others. `list` and `count` may be
    /// null. VI_ERROR_RSRC_NFOUND: there is no match, and no list is open.
    ViStatus viFindRsrc(ViSession resourceManager, ViConstString expression, ViFindList* list, ViUInt32* count,
                        ViChar description[VI_FIND_BUFLEN]);

    /// Writes the next match. VI_ERROR_RSRC_NFOUND: there are no more.
    ViStatus viFindNext(ViFindList list, ViChar description[VI_FIND_BUFLEN]);

    /// Parses a resource string or alias: writes a VI_INTF_ type and the board number. VI_ERROR_INV_RSRC_NAME: it is
    /// neither.
    ViStatus viParseRsrc(ViSession resourceManager, ViConstString name, ViUInt16* interfaceType,
                         ViUInt16* interfaceNumber);

    /// Like viParseRsrc(). Also writes the resource class ("INSTR" or "SOCKET"), the full resource string, and its
    /// alias or an empty text. Pointers after `name` may be null. A text needs VI_FIND_BUFLEN bytes. The program does
    /// not use it; other clients of the stand-in do.
    ViStatus viParseRsrcEx(ViSession resourceManager, ViConstString name, ViUInt16* interfaceType,
                           ViUInt16* interfaceNumber, ViChar* resourceClass, ViChar* expandedName, ViChar* alias);

    /// Writes an attribute to `value`, in the attribute's own size. The program does not use it.
    ViStatus viGetAttribute(ViObject object, ViAttr attribute, void* value);

    /// Opens an instrument; times are in milliseconds. The program does not use it. The stand-in returns
    /// VI_ERROR_NSUP_OPER; PyVISA needs the symbol to load a library.
    ViStatus viOpen(ViSession resourceManager, ViConstString name, ViUInt32 accessMode, ViUInt32 timeout,
                    ViSession* session);

    /// Writes the text of a status. The object may be VI_NULL. VI_WARN_UNKNOWN_STATUS: it has none. The program does
    /// not use it.
    ViStatus viStatusDesc(ViObject object, ViStatus status, ViChar description[VI_FIND_BUFLEN]);

    /// Closes a session or find list. Returns VI_WARN_NULL_OBJECT for VI_NULL.
    ViStatus viClose(ViObject object);
}
