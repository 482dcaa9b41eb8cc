// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa.h"

/// Closes a VISA session or find list at the end of a scope, VI_NULL as well. Statuses stay with the caller: a
/// find list is to be owned only where the caller's reading of viFindRsrc() says that one is open.
class VisaHandle
{
public:
    explicit VisaHandle(ViObject object) : m_object(object) {}

    ~VisaHandle() { viClose(m_object); }

    VisaHandle(const VisaHandle&) = delete;
    VisaHandle& operator=(const VisaHandle&) = delete;

    /// Whatever the library gives as a session of the default resource manager; its status is not looked at.
    [[nodiscard]] static VisaHandle defaultResourceManager()
    {
        ViSession session = VI_NULL;
        viOpenDefaultRM(&session);
        return VisaHandle(session);
    }

    [[nodiscard]] ViObject get() const { return m_object; }

private:
    ViObject m_object;
};
