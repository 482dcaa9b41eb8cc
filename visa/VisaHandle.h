// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include "visa.h"

/// Owns a VISA session or find list, and closes it, even VI_NULL. Own a find list only if the status of viFindRsrc()
/// says that it is open.
class VisaHandle
{
public:
    explicit VisaHandle(ViObject object) : m_object(object) {}

    ~VisaHandle() { viClose(m_object); }

    VisaHandle(const VisaHandle&) = delete;
    VisaHandle& operator=(const VisaHandle&) = delete;

    /// Opens a session of the default resource manager. Ignores the status: after an error the handle is what the
    /// library wrote, or VI_NULL.
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
