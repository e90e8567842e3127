// A /proc/meminfo in the kernel's format for fake device trees (tests and korasim): its
// MemFree + Buffers + Cached + SwapCached + KReclaimable add up to the free memory asked for.
// Header-only so that the test support (also built for ARM64) and korasim share it.
#pragma once

#include <sstream>
#include <string>

namespace korahost {

inline std::string syntheticMeminfo(double freeKb) {
    // Split the total over the five counted lines; the other lines are counted by nobody
    // (SReclaimable is there to catch a reader that counts it instead of KReclaimable).
    const long long total = static_cast<long long>(freeKb);
    const long long memFree = total / 2;
    const long long buffers = total / 8;
    const long long cached = total / 4;
    const long long swapCached = total / 16;
    const long long reclaimable = total - memFree - buffers - cached - swapCached;
    std::ostringstream out;
    out << "MemTotal:       " << (total * 3 + 1024) << " kB\n"
        << "MemFree:        " << memFree << " kB\n"
        << "MemAvailable:   " << (total + 4096) << " kB\n"
        << "Buffers:        " << buffers << " kB\n"
        << "Cached:         " << cached << " kB\n"
        << "SwapCached:     " << swapCached << " kB\n"
        << "Active:         123456 kB\n"
        << "Inactive:       234567 kB\n"
        << "SwapTotal:      0 kB\n"
        << "SwapFree:       0 kB\n"
        << "Slab:           65432 kB\n"
        << "SReclaimable:   4321 kB\n"
        << "KReclaimable:   " << reclaimable << " kB\n";
    return out.str();
}

}  // namespace korahost
