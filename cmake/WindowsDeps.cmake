# What a Linux machine's packages provide to the cross-build, under the names that find_package
# gives it elsewhere: Boost::headers, Boost::filesystem, GTest::gtest, ::gmock, ::gtest_main.
# scripts/fetch-windows-deps fills build/deps. Warnings in these sources are not ours.

set(DEPS ${CMAKE_CURRENT_LIST_DIR}/../build/deps)
if(NOT EXISTS ${DEPS}/boost-filesystem/complete)
  message(FATAL_ERROR "build/deps is missing: run scripts/fetch-windows-deps")
endif()

# The folders hold nothing but boost/, CL/, CLI/ and nlohmann/: /usr/include itself would bring in the host's C
# library.
add_library(opencl_headers INTERFACE)
target_include_directories(opencl_headers SYSTEM INTERFACE ${DEPS}/opencl-include)
add_library(boost_headers INTERFACE)
target_include_directories(boost_headers SYSTEM INTERFACE ${DEPS}/boost-include)
add_library(Boost::headers ALIAS boost_headers)
add_library(host_headers INTERFACE)
target_include_directories(host_headers SYSTEM INTERFACE ${DEPS}/host-include)
# Every layer takes them from the compiler's own path elsewhere.
target_link_libraries(gpuprobe_flags INTERFACE boost_headers opencl_headers host_headers)

# Which sources there are differs between releases of Boost.
file(GLOB BOOST_FILESYSTEM_SOURCES CONFIGURE_DEPENDS ${DEPS}/boost-filesystem/src/*.cpp)
add_library(boost_filesystem STATIC EXCLUDE_FROM_ALL ${BOOST_FILESYSTEM_SOURCES})
target_compile_definitions(boost_filesystem PUBLIC BOOST_FILESYSTEM_STATIC_LINK=1
                                            PRIVATE BOOST_FILESYSTEM_SOURCE
                                                    BOOST_FILESYSTEM_NO_CXX20_ATOMIC_REF)
target_compile_options(boost_filesystem PRIVATE -w)
target_link_libraries(boost_filesystem PUBLIC boost_headers)
add_library(Boost::filesystem ALIAS boost_filesystem)

set(GOOGLETEST /usr/src/googletest)
function(add_googletest name folder)
  add_library(${name} STATIC EXCLUDE_FROM_ALL ${GOOGLETEST}/${folder}/src/${ARGN})
  target_include_directories(${name} SYSTEM PUBLIC ${GOOGLETEST}/${folder}/include
                                            PRIVATE ${GOOGLETEST}/${folder})
  target_compile_options(${name} PRIVATE -w)
  add_library(GTest::${name} ALIAS ${name})
endfunction()
add_googletest(gtest googletest gtest-all.cc)
add_googletest(gtest_main googletest gtest_main.cc)
add_googletest(gmock googlemock gmock-all.cc)
target_link_libraries(gtest PUBLIC Threads::Threads)
target_link_libraries(gtest_main PUBLIC gtest)
target_link_libraries(gmock PUBLIC gtest)

# gpuprobe_delay_import(<target> <dll> <function>...): what links the target loads the DLL at the
# first call of one of the functions, not at program start. Some of these DLLs cost more than the
# rest of a short run. Their tables get sections of their own, see DelayImports.ld.
set(DELAY_SECTIONS)
foreach(part 4 5 6 7)
  list(APPEND DELAY_SECTIONS --rename-section .idata$${part}=.didat$${part},alloc,load,contents,data)
endforeach()
add_link_options(-Wl,-T,${CMAKE_CURRENT_LIST_DIR}/DelayImports.ld)
function(gpuprobe_delay_import target dll)
  set(base ${CMAKE_CURRENT_BINARY_DIR}/${target}_${dll}_delay)
  list(JOIN ARGN "\n" functions)
  file(CONFIGURE OUTPUT ${base}.def CONTENT "LIBRARY ${dll}.dll\nEXPORTS\n@functions@\n" @ONLY)
  add_custom_command(OUTPUT ${base}.a
    COMMAND ${CMAKE_DLLTOOL} --def ${base}.def --output-delaylib ${base}.a
    COMMAND ${CMAKE_OBJCOPY} ${DELAY_SECTIONS} ${base}.a
    DEPENDS ${base}.def VERBATIM)
  add_custom_target(${target}_${dll}_delay DEPENDS ${base}.a)
  add_dependencies(${target} ${target}_${dll}_delay)
  target_link_libraries(${target} PRIVATE ${base}.a)
endfunction()
