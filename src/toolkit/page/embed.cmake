# Included by the library's CMakeLists: puts the page's HTML, CSS and JavaScript into a source file, anew when one of them
# changes. As a script (-P) it writes that source: OUTPUT from the files of SOURCE_DIR named in SCRIPTS.
if(NOT CMAKE_SCRIPT_MODE_FILE)
  set(page_scripts vectors.js surface.js raycast.js camera.js programs.js view.js lit.js findings.js panel.js page.js)
  set(page_source ${CMAKE_CURRENT_BINARY_DIR}/pageSources.cpp)
  set(page_files ${page_scripts} page.html page.css)
  list(TRANSFORM page_files PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
  string(REPLACE ";" "," page_script_names "${page_scripts}")
  add_custom_command(
    OUTPUT ${page_source}
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${page_source} -DSOURCE_DIR=${CMAKE_CURRENT_LIST_DIR} -DSCRIPTS=${page_script_names}
            -P ${CMAKE_CURRENT_LIST_FILE}
    DEPENDS ${page_files} ${CMAKE_CURRENT_LIST_FILE}
    COMMENT "Embedding the page of a diagnosis"
    VERBATIM)
  target_sources(toolkit PRIVATE ${page_source} page/pageMesh.cpp page/pageText.cpp)
  return()
endif()

# A variable that holds the texts of files one after the other, as raw literals: one literal may be too long for a compiler.
function(append_literal variable)
  set(literals "")
  foreach(name IN LISTS ARGN)
    file(READ "${SOURCE_DIR}/${name}" text)
    string(APPEND literals "    R\"page(${text})page\"\n")
  endforeach()
  file(APPEND "${OUTPUT}.new" "std::string_view const ${variable} =\n${literals}    ;\n")
endfunction()

string(REPLACE "," ";" scripts "${SCRIPTS}")
file(WRITE "${OUTPUT}.new" "// Written by embed.cmake.\n#include \"toolkit/page/pageSources.h\"\n\nnamespace trimora {\n\n")
append_literal(pageTemplate page.html)
append_literal(pageStyle page.css)
append_literal(pageScript ${scripts})
file(APPEND "${OUTPUT}.new" "\n}  // namespace trimora\n")
file(RENAME "${OUTPUT}.new" "${OUTPUT}")
