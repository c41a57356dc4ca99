# Writes a source with the page's files in it: cmake -D OUT=… -D FILES="…;…" -P embed.cmake
set(arrays "")
set(rows "")
set(number 0)
foreach(file IN LISTS FILES)
  get_filename_component(name ${file} NAME)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND arrays "constexpr char kFile${number}[] = {\n${bytes}};\n")
  string(APPEND rows "    {\"/${name}\", {kFile${number}, sizeof kFile${number}}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUT} "// Made by embed.cmake.
#include \"http/page_files.h\"

#include <algorithm>
#include <iterator>

namespace tqgateway {
namespace {

${arrays}
constexpr PageFile kFiles[] = {
${rows}};

} // namespace

const PageFile *FindPageFile(std::string_view path) {
    const auto *found = std::find_if(std::begin(kFiles), std::end(kFiles),
                                     [&](const PageFile &file) { return file.path == path; });
    return found == std::end(kFiles) ? nullptr : found;
}

} // namespace tqgateway
")
