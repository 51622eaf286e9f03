# qvsv_add_catalog(<target> <catalog-folder> [SOURCE_ROOT dir] [OUTPUT_ROOT dir] [NO_INSTALL])
# Compiles every <locale>.txt of <SOURCE_ROOT>/<catalog-folder> (default
# resources/) with genrb into <OUTPUT_ROOT>/<catalog-folder>/<locale>.res
# (default share/qv_services/resources of the build tree, where the host looks)
# and installs the result next to the library unless NO_INSTALL is given.
find_program(QVSV_GENRB genrb REQUIRED)
set(QVSV_CATALOG_ROOT ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_DATADIR}/qv_services/resources)

function(qvsv_add_catalog target folder)
  cmake_parse_arguments(ARG "NO_INSTALL" "SOURCE_ROOT;OUTPUT_ROOT" "" ${ARGN})
  if(NOT ARG_SOURCE_ROOT)
    set(ARG_SOURCE_ROOT ${PROJECT_SOURCE_DIR}/resources)
  endif()
  if(NOT ARG_OUTPUT_ROOT)
    set(ARG_OUTPUT_ROOT ${QVSV_CATALOG_ROOT})
  endif()
  set(_srcdir ${ARG_SOURCE_ROOT}/${folder})
  file(GLOB _sources CONFIGURE_DEPENDS ${_srcdir}/*.txt)
  set(_outdir ${ARG_OUTPUT_ROOT}/${folder})
  set(_outputs)
  foreach(_src IN LISTS _sources)
    get_filename_component(_locale ${_src} NAME_WE)
    set(_res ${_outdir}/${_locale}.res)
    add_custom_command(
      OUTPUT ${_res}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${_outdir}
      COMMAND ${QVSV_GENRB} -q -e UTF-8 -s ${_srcdir} -d ${_outdir} ${_locale}.txt
      DEPENDS ${_src}
      COMMENT "genrb ${folder}/${_locale}.txt"
      VERBATIM)
    list(APPEND _outputs ${_res})
  endforeach()
  add_custom_target(${target} ALL DEPENDS ${_outputs})
  if(NOT ARG_NO_INSTALL)
    install(DIRECTORY ${_outdir}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/qv_services/resources/${folder}
            FILES_MATCHING PATTERN "*.res")
  endif()
endfunction()
