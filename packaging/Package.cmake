# Three Debian packages by CPack, which scripts/package runs.
set(GPUPROBE_MAINTAINER "The gpuprobe authors <gpuprobe@example.org>" CACHE STRING
    "Who answers for the Debian packages")
set(CPACK_PACKAGE_VENDOR "The gpuprobe authors")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL bin lib dev)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${GPUPROBE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_LIB_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/shlibs ${CMAKE_CURRENT_SOURCE_DIR}/debian/symbols
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/triggers)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/debian/control "")
if(CMAKE_CROSSCOMPILING)
  set(CROSS_LIBRARIES -l${CMAKE_FIND_ROOT_PATH}/lib)
endif()
configure_file(Depends.cmake.in Depends.cmake.in @ONLY)
file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/Depends.cmake
     INPUT ${CMAKE_CURRENT_BINARY_DIR}/Depends.cmake.in)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/Depends.cmake)

# Opened at run time, so that the packager's tools can't see them. libegl1 brings no drivers with it.
set(CPACK_DEBIAN_BIN_PACKAGE_RECOMMENDS
    "libegl1, libgl1-mesa-dri, ocl-icd-libopencl1 | libopencl1, pci.ids")
set(CPACK_DEBIAN_LIB_PACKAGE_RECOMMENDS gpuprobe)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libgpuprobe-host1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_RECOMMENDS gpuprobe)
# The first line is the summary.
set(CPACK_COMPONENT_BIN_DESCRIPTION
"graphics hardware report that survives its drivers
Says which graphics hardware a machine has, what it can do, and which driver
breaks: gpureport for people, installers and fleets, and below it gpuprobe,
which writes each answer of OpenGL and OpenCL at once, so that a driver that
hangs or crashes costs its own answer only.")
set(CPACK_COMPONENT_LIB_DESCRIPTION
"graphics hardware report for programs (library)
Runs gpuprobe as a child process, supervises it, and gives its report to
programs in any language as JSON.")
set(CPACK_COMPONENT_DEV_DESCRIPTION
"graphics hardware report for programs (development files)
Headers, static library, examples, and drivers that misbehave on demand, for
programs that let gpuprobe ask the graphics hardware.")

# Package names, sections, and the documents that each package must have.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE LICENSE_TEXT)
string(REGEX REPLACE "^.*(Permission is)" "\\1" LICENSE_TEXT "${LICENSE_TEXT}")
string(STRIP "${LICENSE_TEXT}" LICENSE_TEXT)
string(REPLACE "\n\n" "\n.\n" LICENSE_TEXT "${LICENSE_TEXT}")
string(REPLACE "\n" "\n " LICENSE_TEXT " ${LICENSE_TEXT}")
string(TIMESTAMP CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(debian/changelog.in changelog @ONLY)
configure_file(debian/copyright.in copyright @ONLY)
execute_process(COMMAND gzip -9nkf changelog WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
foreach(row bin:gpuprobe:utils lib:libgpuprobe-host1:libs dev:libgpuprobe-host-dev:libdevel)
  string(REPLACE : ";" row ${row})
  list(GET row 0 component)
  list(GET row 1 package)
  list(GET row 2 section)
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SOURCE gpuprobe)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz ${CMAKE_CURRENT_BINARY_DIR}/copyright
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
  install(FILES debian/${package}.overrides RENAME ${package}
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT ${component})
endforeach()
include(CPack)
