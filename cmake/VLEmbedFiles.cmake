# Script mode: writes a C++ source that holds the given files as byte arrays, so that a
# program carries its web front end and needs nothing beside it at run time.
#   cmake -DOUTPUT=out.cpp -DBASE=dir -DFILES="a;b" -P VLEmbedFiles.cmake
# Names are the files' paths relative to BASE. Bytes, not string literals: a file may hold
# anything, including the delimiter of a raw string.
set(body "")
set(rows "")
set(index 0)
foreach(file IN LISTS FILES)
  file(RELATIVE_PATH name "${BASE}" "${file}")
  file(READ "${file}" hex HEX)
  string(LENGTH "${hex}" hexLength)
  math(EXPR size "${hexLength} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
  string(APPEND body "const char asset${index}[] = {${bytes}'\\0'};\n")
  string(APPEND rows "    {\"${name}\", std::string_view(asset${index}, ${size})},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE "${OUTPUT}.new" "// Generated from tools/vlvalidate/web by cmake/VLEmbedFiles.cmake; do not edit.
#include \"VLWebAssets.h\"

namespace {
${body}
const VLWebAssets::Asset embeddedAssets[] = {
${rows}};
}  // namespace

std::span<const VLWebAssets::Asset> VLWebAssets::all() {
  return embeddedAssets;
}
")
# Only a changed file touches the output, so an unchanged front end rebuilds nothing.
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.new")
