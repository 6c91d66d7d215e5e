# cmake "-DFILES=de.mo;fr.mo" -DOUT=Catalogues.cpp -P embed_catalogues.cmake
set(arrays "")
set(rows "")
foreach(file IN LISTS FILES)
    get_filename_component(code ${file} NAME_WE)
    string(MAKE_C_IDENTIFIER ${code} name)
    file(READ ${file} digits HEX)
    string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${digits}")
    # Short literals, which the compiler joins: 20 bytes of 4 characters each a line.
    set(lines "")
    string(LENGTH "${bytes}" length)
    set(at 0)
    while(at LESS length)
        string(SUBSTRING "${bytes}" ${at} 80 piece)
        string(APPEND lines "\n    \"${piece}\"")
        math(EXPR at "${at} + 80")
    endwhile()
    string(APPEND arrays "constexpr char ${name}[] =${lines};\n\n")
    string(APPEND rows "    {\"${code}\", {${name}, sizeof ${name} - 1}},\n")
endforeach()
file(WRITE ${OUT} "// Made from po/*.po by cmake/embed_catalogues.cmake.
#include \"QuarrydexCore/text/Catalogues.h\"

namespace quarrydex {

namespace {

${arrays}constexpr Catalogue all[] = {
${rows}};

} // namespace

std::span<const Catalogue> catalogues() {
    return all;
}

} // namespace quarrydex
")
