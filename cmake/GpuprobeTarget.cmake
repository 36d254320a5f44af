add_library(gpuprobe_flags INTERFACE)
target_compile_options(gpuprobe_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                                -Wnon-virtual-dtor -Werror)
# A folder's sources are then one, in which their own names meet.
if(CMAKE_UNITY_BUILD)
  target_compile_options(gpuprobe_flags INTERFACE -Wno-shadow -Wno-subobject-linkage)
endif()
target_link_libraries(gpuprobe_flags INTERFACE Threads::Threads)
# The same bytes wherever the tree lies; the log's lines name files from the tree's root.
target_compile_options(gpuprobe_flags INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
# Includes name their folder: "log/Clock.h".
target_include_directories(gpuprobe_flags INTERFACE ${PROJECT_SOURCE_DIR})
if(GPUPROBE_SANITIZE)
  # A third of the time to compile would go into checks of each pointer: what they find crashes in the
  # address sanitizer too, or is a read that our processors do.
  target_compile_options(gpuprobe_flags INTERFACE
    -fsanitize=address,undefined -fno-sanitize=null,alignment,vptr
    -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(gpuprobe_flags INTERFACE -fsanitize=address,undefined)
endif()
if(GPUPROBE_TSAN)
  target_compile_options(gpuprobe_flags INTERFACE -fsanitize=thread)
  target_link_options(gpuprobe_flags INTERFACE -fsanitize=thread)
endif()
if(GPUPROBE_FUZZ)
  target_compile_options(gpuprobe_flags INTERFACE -g -fsanitize=fuzzer-no-link,address,undefined
                                                  -fno-sanitize-recover=all)
  target_link_options(gpuprobe_flags INTERFACE -fsanitize=address,undefined)
endif()

# gpuprobe_precompile(<name> USES <targets> HEADERS <headers>): compiles them once, with the options
# that the targets bring. Others take the result with REUSE_FROM <name>. Sources still include what
# they need: scripts/lint reads them without.
function(gpuprobe_precompile name)
  cmake_parse_arguments(ARG "" "" "USES;HEADERS" ${ARGN})
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/${name}.cpp CONTENT "")
  add_library(${name} OBJECT ${CMAKE_BINARY_DIR}/${name}.cpp)
  target_link_libraries(${name} PRIVATE ${ARG_USES})
  target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
endfunction()

# One static library per folder: gpuprobe_layer(<folder> SOURCES ... USES <folders>).
# Includes name their folder, counted from the root; scripts/lint checks who may include whom.
function(gpuprobe_layer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  add_library(gpuprobe_${name} STATIC ${ARG_SOURCES})
  target_link_libraries(gpuprobe_${name} PRIVATE gpuprobe_flags)
  target_precompile_headers(gpuprobe_${name} REUSE_FROM gpuprobe_headers)
  foreach(used IN LISTS ARG_USES)
    target_link_libraries(gpuprobe_${name} PUBLIC gpuprobe_${used})
  endforeach()
endfunction()

# gpuprobe_portable(<program or library>): a portable build's carries what it uses of the C++ library.
# libgcc_s stays shared: an exception that passes through a driver's code and ours needs one unwinder.
function(gpuprobe_portable target)
  if(GPUPROBE_PORTABLE)
    target_link_options(${target} PRIVATE -static-libstdc++ -Wl,--gc-sections)
  endif()
endfunction()

# gpuprobe_resources(<program> <description>): the description for the manual page; on Windows also
# the program's version, description and manifest.
function(gpuprobe_resources PROGRAM DESCRIPTION)
  set_target_properties(${PROGRAM} PROPERTIES GPUPROBE_DESCRIPTION ${DESCRIPTION})
  if(NOT WIN32)
    return()
  endif()
  set(folder ${CMAKE_CURRENT_BINARY_DIR})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/resources_win.rc.in ${folder}/${PROGRAM}.rc @ONLY)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/manifest_win.xml.in ${folder}/${PROGRAM}.manifest @ONLY)
  # A target of its own: the resource compiler does not know the C++ compiler's options.
  add_library(${PROGRAM}_resources OBJECT ${folder}/${PROGRAM}.rc)
  target_include_directories(${PROGRAM}_resources PRIVATE ${folder})
  set_source_files_properties(${folder}/${PROGRAM}.rc PROPERTIES
    OBJECT_DEPENDS ${folder}/${PROGRAM}.manifest)
  target_link_libraries(${PROGRAM} PRIVATE ${PROGRAM}_resources)
endfunction()
