// Names of the metadata value types, as sessions write them and the report shows them.
#pragma once

namespace korasim {

// "byte", "int32", "float", "int64", "double", "rational"; "unknown" for anything else.
const char* typeName(int type);

}  // namespace korasim
