# Puts the page together: cmake -DPARTS=report/page -DOUTPUT=... -P embed.cmake
#   OUTPUT/page.js        its script
#   OUTPUT/page.html      the page but for its data, which belong in place of @DATA@
#   OUTPUT/pageText.cpp   the same as C++ text, the part before the data and the part behind them
# The page's policy names the digests of its one style and its one script: nothing else can run in it.

# base64(TEXT RESULT): of SHA-256, in CMake's arithmetic, as CMake tells digests in hex only
function(sha256_base64 text result)
  set(letters ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  string(SHA256 hex "${text}")
  set(base64 "")
  foreach(at RANGE 0 60 6)
    string(SUBSTRING "${hex}0000" ${at} 6 digits)
    foreach(shift 18 12 6 0)
      math(EXPR letter "(0x${digits} >> ${shift}) & 63")
      string(SUBSTRING ${letters} ${letter} 1 letter)
      string(APPEND base64 ${letter})
    endforeach()
  endforeach()
  string(SUBSTRING ${base64} 0 43 base64) # 32 bytes are 43 letters and a sign that nothing follows
  set(${result} "sha256-${base64}=" PARENT_SCOPE)
endfunction()

file(READ ${PARTS}/page.html page)
file(READ ${PARTS}/page.css style)
# What a part does at once needs those before it; its functions call those of any.
set(script "'use strict';\n\n(() => {\n")
foreach(part data text elements groups choice overview filter list copy viewer export keyboard colours begin)
  file(READ ${PARTS}/${part}.js text)
  string(APPEND script "\n${text}")
endforeach()
string(APPEND script "})();\n")
file(WRITE ${OUTPUT}/page.js "${script}")
sha256_base64("${style}" style_digest)
sha256_base64("${script}" script_digest)
set(policy "default-src 'none'; script-src '${script_digest}'; style-src '${style_digest}'; img-src data: file:; \
media-src file:; base-uri 'none'; form-action 'none'")
string(REPLACE "@POLICY@" "${policy}" page "${page}")
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")
file(WRITE ${OUTPUT}/page.html "${page}")

string(REPLACE "@DATA@" ")page\";\nconst char kAfterData[] = R\"page(" page "${page}")
file(WRITE ${OUTPUT}/pageText.cpp "#include \"pageText.h\"\n\nnamespace report {\n\nconst char kBeforeData[] = R\"page(")
file(APPEND ${OUTPUT}/pageText.cpp "${page})page\";\n\n}  // namespace report\n")
