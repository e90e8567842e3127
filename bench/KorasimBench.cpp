#include "BenchRegistry.h"

namespace sdsrbench {

void registerKorasimBenchmarks() {}

}  // namespace sdsrbench
