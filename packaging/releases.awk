# SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
# SPDX-License-Identifier: MIT
#
# Prints the releases of CHANGELOG.md, "## VERSION (DATE)" and its items, as a Debian changelog or, with
# -v form=metainfo, as AppStream releases. Skips a heading without a date, which is not released yet.

function end_item(    words, count, line, i) {
    if (item && form == "metainfo") {
        gsub("`", "", item)
        gsub("&", "\\&amp;", item)
        gsub("<", "\\&lt;", item)
        print "          <li>" item "</li>"
    } else if (item) {
        line = "  *"
        count = split(item, words, " ")
        for (i = 1; i <= count; ++i) {
            if (length(line " " words[i]) > 80) {
                print line
                line = "   "
            }
            line = line " " words[i]
        }
        print line
    }
    item = ""
}

function end_release() {
    end_item()
    if (date && form == "metainfo")
        print "        </ul>\n      </description>\n    </release>"
    else if (date) {
        ("date -uRd " date) | getline time
        print "\n -- The KyVisaConfigure authors <maintainers@kyvane-yollet.com>  " time "\n"
    }
    date = ""
}

/^## / { end_release() }

/^## [0-9.]+ \([0-9-]+\)$/ {
    date = substr($3, 2, 10)
    if (form == "metainfo")
        print "    <release version=\"" $2 "\" date=\"" date "\">\n      <description>\n        <ul>"
    else
        print "kyvisaconfigure (" $2 ") unstable; urgency=medium\n"
}

date && /^- / {
    end_item()
    item = substr($0, 3)
}

date && /^  / { item = item " " substr($0, 3) }

END { end_release() }
