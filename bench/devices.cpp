// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

// A search on this machine only. Its peer enumerates the same kinds of devices once and opens each: any such search
// does at least that.

#include "visa/VisaHandle.h"

#include <array>
#include <memory>

#include <benchmark/benchmark.h>

#include <libudev.h>

namespace
{

struct Release
{
    void operator()(udev* context) const { udev_unref(context); }

    void operator()(udev_enumerate* enumeration) const { udev_enumerate_unref(enumeration); }

    void operator()(udev_device* device) const { udev_device_unref(device); }
};

void find(benchmark::State& state)
{
    int resources = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        const VisaHandle session = VisaHandle::defaultResourceManager();
        viSetAttribute(session.get(), KYVISA_ATTR_NETWORK_SEARCHES, 0);
        ViFindList handle = VI_NULL;
        ViUInt32 count = 0;
        std::array<ViChar, VI_FIND_BUFLEN> description = {};
        const ViStatus status = viFindRsrc(session.get(), "?*", &handle, &count, description.data());
        const VisaHandle list(handle);
        resources = status == VI_SUCCESS ? 1 : 0;
        while (status == VI_SUCCESS && viFindNext(list.get(), description.data()) == VI_SUCCESS)
            ++resources;
    }
    state.counters["found"] = resources;
}

void enumerateDevices(benchmark::State& state)
{
    int devices = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        devices = 0;
        const std::unique_ptr<udev, Release> context(udev_new());
        const std::unique_ptr<udev_enumerate, Release> enumeration(udev_enumerate_new(context.get()));
        udev_enumerate_add_match_subsystem(enumeration.get(), "tty");
        udev_enumerate_add_match_subsystem(enumeration.get(), "usb");
        udev_enumerate_scan_devices(enumeration.get());
        udev_list_entry* entry = nullptr;
        udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration.get()))
        {
            const std::unique_ptr<udev_device, Release> device(
                udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
            devices += device ? 1 : 0;
        }
    }
    state.counters["found"] = devices;
}

} // namespace

BENCHMARK(find)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(enumerateDevices)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
