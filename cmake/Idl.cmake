# Compiles an IDL file with widl into a type library, a header and the GUID definitions,
# all in the generated folder: qvx_idl(<name> <idl file> [DEPENDS files...])
find_program(QVX_WIDL x86_64-w64-mingw32-widl REQUIRED)
find_path(QVX_WINE_IDL_DIR oaidl.idl PATHS /usr/include/wine/wine/windows REQUIRED NO_CMAKE_FIND_ROOT_PATH)
find_path(QVX_WINE_TLB_DIR stdole2.tlb PATHS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows REQUIRED
  NO_CMAKE_FIND_ROOT_PATH)

function(qvx_idl name idl)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  get_filename_component(idl_abs ${idl} ABSOLUTE)
  get_filename_component(idl_dir ${idl_abs} DIRECTORY)
  set(out ${QVX_GENERATED})
  set(flags -m64 -I ${QVX_WINE_IDL_DIR} -I ${idl_dir} -I ${CMAKE_SOURCE_DIR}/host
    -L ${QVX_WINE_TLB_DIR} -L ${out})
  add_custom_command(
    OUTPUT ${out}/${name}.tlb ${out}/${name}.h ${out}/${name}_i.c
    COMMAND ${QVX_WIDL} ${flags} -t -o ${out}/${name}.tlb ${idl_abs}
    COMMAND ${QVX_WIDL} ${flags} -h -o ${out}/${name}.h ${idl_abs}
    COMMAND ${QVX_WIDL} ${flags} -u -o ${out}/${name}_i.c ${idl_abs}
    DEPENDS ${idl_abs} ${ARG_DEPENDS}
    COMMENT "widl ${name}.idl")
  add_custom_target(${name}_idl DEPENDS ${out}/${name}.tlb ${out}/${name}.h ${out}/${name}_i.c)
endfunction()
