# What every target of the project is compiled with.

add_library(rfcd_options INTERFACE)
target_compile_options(rfcd_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wnon-virtual-dtor
  -Woverloaded-virtual -Wundef -fstack-protector-strong)
# g++ 12 sees overlaps in "text" + std::string where there are none.
target_compile_options(rfcd_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_compile_definitions(rfcd_options INTERFACE _GNU_SOURCE
  $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
if(RFCD_WERROR)
  target_compile_options(rfcd_options INTERFACE -Werror)
endif()

if(RFCD_SANITIZE)
  add_compile_options(-fsanitize=${RFCD_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${RFCD_SANITIZE})
endif()

if(RFCD_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

# One static library a folder: rfcd_library(NAME source... LINK library...).
function(rfcd_library name)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  add_library(${name} STATIC ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE rfcd_options)
endfunction()
