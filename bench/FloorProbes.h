// The floor of the enable decision: the system calls its device probes cannot avoid, made
// directly in plain C on paths prepared in advance.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Opens and reads the free-memory file, opens and reads the version file, tests the model files
// for reading with access(), opens and reads the board temperature node. Returns the number of
// steps that failed (0 on a passing device).
int sdsrFloorProbes(const char* meminfoPath, const char* versionPath, const char* const* modelPaths,
                    int modelCount, const char* boardPath);

#ifdef __cplusplus
}
#endif
