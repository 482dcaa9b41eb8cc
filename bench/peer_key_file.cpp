// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// GLib's GKeyFile on the same entries in one group. The saved file and its folder are synced, as the store does it.

#include "Entries.h"

#include <memory>

#include <glib.h>

namespace
{

struct Free
{
    void operator()(GKeyFile* file) const { g_key_file_free(file); }

    void operator()(gchar* text) const { g_free(text); }
};

using KeyFile = std::unique_ptr<GKeyFile, Free>;

std::string keyFileName(std::int64_t count)
{
    return entries::file("key-file-" + std::to_string(count), count, "[aliases]\n", true);
}

bool load(KeyFile& file, const std::string& name)
{
    file.reset(g_key_file_new());
    return g_key_file_load_from_file(file.get(), name.c_str(), G_KEY_FILE_NONE, nullptr) == TRUE;
}

void keyFileLoad(benchmark::State& state)
{
    const std::string name = keyFileName(state.range(0));
    KeyFile file;
    entries::measure(
        state, [&] { file.reset(); },
        [&] {
            if (!load(file, name))
                state.SkipWithError("the file was not read");
        });
}

void keyFileSave(benchmark::State& state)
{
    KeyFile file;
    load(file, keyFileName(state.range(0)));
    constexpr auto synced =
        static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE);
    constexpr int fileMode = 0666;
    entries::measure(
        state, [] {},
        [&] {
            gsize length = 0;
            const std::unique_ptr<gchar, Free> text(g_key_file_to_data(file.get(), &length, nullptr));
            if (g_file_set_contents_full("key-file-saved", text.get(), static_cast<gssize>(length), synced, fileMode,
                                         nullptr) == FALSE ||
                !entries::syncFolder())
                state.SkipWithError("the file was not written");
        });
}

} // namespace

BENCHMARK(keyFileLoad)->Apply(entries::atAllCounts);
BENCHMARK(keyFileSave)->Apply(entries::atAllCounts);
