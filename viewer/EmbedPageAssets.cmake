# Writes a C++ source that defines the viewer page's template, style and script as byte arrays.
# Run as: cmake -DOUTPUT=file.cpp -DTEMPLATE=page.html -DSTYLE=page.css -DSCRIPT=page.js -P EmbedPageAssets.cmake

function(embed_bytes variable path out)
  file(READ ${path} hex HEX)
  string(LENGTH "${hex}" digits)
  math(EXPR size "${digits} / 2")
  # One byte per "0x..," with a line break every 32 bytes, and a final NUL that is not counted.
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "((0x[0-9a-f][0-9a-f],){32})" "\\1\n" bytes "${bytes}")
  set(${out} "${${out}}\nconst unsigned char ${variable}Bytes[] = {\n${bytes}0x00};\n" PARENT_SCOPE)
  set(${out}_SIZES "${${out}_SIZES}const std::size_t ${variable}Size = ${size};\n" PARENT_SCOPE)
endfunction()

set(text "")
set(text_SIZES "")
embed_bytes(pageTemplate ${TEMPLATE} text)
embed_bytes(pageStyle ${STYLE} text)
embed_bytes(pageScript ${SCRIPT} text)

file(WRITE ${OUTPUT}.tmp "// Generated from viewer/page.html, page.css and page.js by EmbedPageAssets.cmake: do not edit.
#include \"viewer/PageAssets.h\"

namespace {
${text}
${text_SIZES}} // namespace

namespace viewer {

std::string_view PageAssets::pageTemplate() {
    return std::string_view(reinterpret_cast<const char*>(pageTemplateBytes), pageTemplateSize);
}

std::string_view PageAssets::style() {
    return std::string_view(reinterpret_cast<const char*>(pageStyleBytes), pageStyleSize);
}

std::string_view PageAssets::script() {
    return std::string_view(reinterpret_cast<const char*>(pageScriptBytes), pageScriptSize);
}

} // namespace viewer
")
file(RENAME ${OUTPUT}.tmp ${OUTPUT})
