# Writes the document's first block of the language into a file of the build folder.
function(extract_example document language file)
  set(document ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../../${document})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${document})
  file(READ ${document} text)
  if(NOT text MATCHES "\n```${language}\n([^`]*)```")
    message(FATAL_ERROR "${document} has no example in ${language}")
  endif()
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${file} "${CMAKE_MATCH_1}")
endfunction()

# Programs example and example_cpp of the documents' examples, linked to the target.
function(add_examples target)
  extract_example(README.md c example.c)
  extract_example(docs/embedding.md cpp example.cpp)
  add_executable(example ${CMAKE_CURRENT_BINARY_DIR}/example.c)
  add_executable(example_cpp ${CMAKE_CURRENT_BINARY_DIR}/example.cpp)
  set_target_properties(example example_cpp PROPERTIES C_STANDARD 11 CXX_STANDARD 17
                                                       RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  target_compile_options(example PRIVATE -Wall -Wextra -Wpedantic -Werror)
  target_compile_options(example_cpp PRIVATE -Wall -Wextra -Wpedantic -Werror)
  target_link_libraries(example PRIVATE ${target})
  target_link_libraries(example_cpp PRIVATE ${target})
endfunction()
