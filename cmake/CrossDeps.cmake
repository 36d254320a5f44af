# What a Linux machine's packages provide to the cross-builds, under the names that find_package
# gives it elsewhere: Boost::headers, Boost::filesystem, GTest::gtest, ::gmock, ::gtest_main.
# scripts/fetch-cross-deps fills build/deps. Warnings in these sources are not ours.

set(GPUPROBE_DEPS ${CMAKE_CURRENT_LIST_DIR}/../build/deps CACHE PATH "What scripts/fetch-cross-deps made")
if(NOT EXISTS ${GPUPROBE_DEPS}/boost-filesystem/complete)
  message(FATAL_ERROR "${GPUPROBE_DEPS} is missing: run scripts/fetch-cross-deps")
endif()

# The folders hold nothing but boost/, CL/, CLI/ and nlohmann/: /usr/include itself would bring in
# the host's C library.
add_library(opencl_headers INTERFACE)
target_include_directories(opencl_headers SYSTEM INTERFACE ${GPUPROBE_DEPS}/opencl-include)
add_library(boost_headers INTERFACE)
target_include_directories(boost_headers SYSTEM INTERFACE ${GPUPROBE_DEPS}/boost-include)
add_library(Boost::headers ALIAS boost_headers)
add_library(host_headers INTERFACE)
target_include_directories(host_headers SYSTEM INTERFACE ${GPUPROBE_DEPS}/host-include)
# Every layer takes them from the compiler's own path elsewhere.
target_link_libraries(gpuprobe_flags INTERFACE boost_headers opencl_headers host_headers)
if(NOT WIN32)
  add_library(egl_headers INTERFACE)
  target_include_directories(egl_headers SYSTEM INTERFACE ${GPUPROBE_DEPS}/egl-include)
  target_link_libraries(gpuprobe_flags INTERFACE egl_headers)
endif()

# Which sources there are differs between releases of Boost.
file(GLOB BOOST_FILESYSTEM_SOURCES CONFIGURE_DEPENDS ${GPUPROBE_DEPS}/boost-filesystem/src/*.cpp)
add_library(boost_filesystem STATIC EXCLUDE_FROM_ALL ${BOOST_FILESYSTEM_SOURCES})
target_compile_definitions(boost_filesystem PUBLIC BOOST_FILESYSTEM_STATIC_LINK=1
                                            PRIVATE BOOST_FILESYSTEM_SOURCE
                                                    BOOST_FILESYSTEM_NO_CXX20_ATOMIC_REF)
target_compile_options(boost_filesystem PRIVATE -w -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
target_link_libraries(boost_filesystem PUBLIC boost_headers)
# Its sources apart, so that a program takes those that it needs, and no library for the others.
set_target_properties(boost_filesystem PROPERTIES UNITY_BUILD OFF)
add_library(Boost::filesystem ALIAS boost_filesystem)

if(NOT BUILD_TESTING)
  return()
endif()
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
