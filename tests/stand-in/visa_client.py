# SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
# SPDX-License-Identifier: MIT
"""Prints what PyVISA, unchanged, learns from the VISA library whose path it is given."""

import sys

import pyvisa

manager = pyvisa.ResourceManager(sys.argv[1])
print(*manager.list_resources("ASRL?*"))
assert set(manager.list_resources("ASRL?*")) < set(manager.list_resources("?*"))
for name, info in manager.list_resources_info("(ASRL1|USB?*588)::?*").items():
    print(name, info.interface_type.name, info.interface_board_number, info.resource_class, info.alias)
for attribute in (pyvisa.constants.VI_ATTR_RSRC_MANF_ID, pyvisa.constants.VI_ATTR_RSRC_MANF_NAME):
    print(manager.visalib.get_attribute(manager.session, attribute)[0])
print(manager.resource_info("scope").resource_name)
try:
    manager.open_resource("scope")
except pyvisa.VisaIOError as error:
    print(error.abbreviation)
