// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

// Where the library that offers sd-bus keeps its header.
#if __has_include(<systemd/sd-bus.h>)
#include <systemd/sd-bus.h>
#else
#include <basu/sd-bus.h>
#endif
