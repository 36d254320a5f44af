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
