# Makes the header that carries the report page's script and style into the program:
#   cmake -DScript="cells.js;...;report.js" -DStyle=report.css -DOUT=page_assets.h -P EmbedPage.cmake
# The script files, joined in the order given, make the page's one script; the style is one
# file. Each becomes a raw string literal as it is, byte for byte, beside the base64 SHA-256 of
# those bytes that the page's Content-Security-Policy names, so that the browser runs that
# script and applies that style and nothing else. A file that could end its element early or
# clash with the literal's delimiter stops the build.

set(alphabet "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")

# The base64 form of the bytes written as the hex digits `hex` (an even number of them).
function(hex_to_base64 hex out)
  string(LENGTH "${hex}" length)
  set(text "")
  set(at 0)
  while(at LESS length)
    string(SUBSTRING "${hex}" ${at} 6 group)  # three bytes, or the one or two left at the end
    string(LENGTH "${group}" digits)
    math(EXPR pad "(6 - ${digits}) / 2")
    string(REPEAT "00" ${pad} zeros)
    string(APPEND group "${zeros}")
    foreach(shift 18 12 6 0)
      math(EXPR index "(0x${group} >> ${shift}) & 63")
      string(SUBSTRING "${alphabet}" ${index} 1 char)
      string(APPEND text "${char}")
    endforeach()
    # The characters made of padding bytes only become "=".
    string(LENGTH "${text}" kept)
    math(EXPR kept "${kept} - ${pad}")
    string(SUBSTRING "${text}" 0 ${kept} text)
    string(REPEAT "=" ${pad} fill)
    string(APPEND text "${fill}")
    math(EXPR at "${at} + 6")
  endwhile()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

set(body "")
foreach(asset Script Style)
  set(text "")
  foreach(file IN LISTS ${asset})
    file(READ "${file}" part)
    string(TOLOWER "${part}" lower)
    foreach(bad "</script" "</style" "<!--" ")page\"")
      string(FIND "${lower}" "${bad}" found)
      if(NOT found EQUAL -1)
        message(FATAL_ERROR "${file} holds \"${bad}\", which the page cannot carry")
      endif()
    endforeach()
    string(APPEND text "${part}")
  endforeach()
  string(SHA256 digest "${text}")
  hex_to_base64("${digest}" hash)
  string(APPEND body
         "inline constexpr std::string_view kPage${asset} = R\"page(${text})page\";\n"
         "inline constexpr std::string_view kPage${asset}Sha256 = \"${hash}\";\n")
endforeach()

string(CONCAT header
       "// Made by cmake/EmbedPage.cmake from the page's script and style: do not edit.\n"
       "#pragma once\n#include <string_view>\n\nnamespace tabrun {\n\n"
       "${body}\n}  // namespace tabrun\n")
# Rewrite only on change, so that a build without changes rebuilds nothing.
if(EXISTS "${OUT}")
  file(READ "${OUT}" old)
endif()
if(NOT old STREQUAL header)
  file(WRITE "${OUT}" "${header}")
endif()
