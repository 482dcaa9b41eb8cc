# SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
# SPDX-License-Identifier: MIT
"""Opens an instrument by its alias in visa.conf, and prints its resource string and its answer to *IDN?.

    /usr/bin/python3 open-by-alias.py LIBRARY ALIAS

LIBRARY is the path of libkyvisa.so. It only says what the alias stands for. The instrument is opened by PyVISA's own
backend (Debian: python3-pyvisa-py), so this works with the stand-in library as well.
"""

import sys

import pyvisa

library, alias = sys.argv[1:]
try:
    resource = pyvisa.ResourceManager(library).resource_info(alias).resource_name
except pyvisa.errors.VisaIOError:
    sys.exit(f"{alias}: visa.conf has no such alias, or the library cannot resolve it")
print(resource)
with pyvisa.ResourceManager("@py").open_resource(resource, read_termination="\n", timeout=5000) as instrument:
    print(instrument.query("*IDN?"))
