# One static library per layer. A layer sees the headers of its own folders and of the layers it
# links, nothing else: each library publishes an include folder holding links to its own headers
# only (not to those of a views/ folder below it), so an include of a higher layer's header does
# not compile.
set(LUMEN_LAYER_INCLUDES ${CMAKE_BINARY_DIR}/layer-includes)

# lumen_layer(<name> FOLDERS <folder>... SOURCES <file>... DEPENDS <target>...)
function(lumen_layer name)
  cmake_parse_arguments(LAYER "" "" "FOLDERS;SOURCES;DEPENDS" ${ARGN})
  set(target lumen_${name})
  add_library(${target} STATIC ${LAYER_SOURCES})
  set(include_root ${LUMEN_LAYER_INCLUDES}/${name})
  file(REMOVE_RECURSE ${include_root})
  foreach(folder IN LISTS LAYER_FOLDERS)
    file(MAKE_DIRECTORY ${include_root}/${folder})
    file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${folder}/*.h)
    foreach(header IN LISTS headers)
      get_filename_component(file_name ${header} NAME)
      file(CREATE_LINK ${header} ${include_root}/${folder}/${file_name} SYMBOLIC)
    endforeach()
  endforeach()
  target_include_directories(${target} PUBLIC ${include_root})
  target_link_libraries(${target} PUBLIC ${LAYER_DEPENDS})
  target_precompile_headers(${target} PRIVATE <QString> <QVariant> <QVariantMap> <QStringList>)
  lumen_target_defaults(${target})
endfunction()
