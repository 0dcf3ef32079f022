# The include walls.
#
# Every include is spelled from the root of the repository ("host/sdk/string.h"). A target's include path is a
# folder of links that holds only the folders which that target may see, so a forbidden include is a compile error.
#
#   host    -> host
#   engine  -> engine
#   plugin  -> plugin, host/sdk, engine/api
#   app     -> app, host

function(lumora_wall target)
  set(root "${CMAKE_BINARY_DIR}/walls/${target}")
  file(REMOVE_RECURSE "${root}")
  foreach(folder IN LISTS ARGN)
    get_filename_component(parent "${folder}" DIRECTORY)
    file(MAKE_DIRECTORY "${root}/${parent}")
    file(CREATE_LINK "${CMAKE_SOURCE_DIR}/${folder}" "${root}/${folder}" SYMBOLIC)
  endforeach()
  target_include_directories(${target} PRIVATE "${root}")
endfunction()

# A path that climbs out of its folder would get round the walls.
file(GLOB_RECURSE lumora_headers CONFIGURE_DEPENDS
  "${CMAKE_SOURCE_DIR}/app/*.[ch]*" "${CMAKE_SOURCE_DIR}/host/*.[ch]*"
  "${CMAKE_SOURCE_DIR}/engine/*.[ch]*" "${CMAKE_SOURCE_DIR}/plugin/*.[ch]*")
foreach(file IN LISTS lumora_headers)
  file(STRINGS "${file}" climbing REGEX "^[ \t]*#[ \t]*include[ \t]+[\"<](\\.\\.|/|[^\"<>]*/\\.\\./)")
  if(climbing)
    message(FATAL_ERROR "${file}: an include must be spelled from the root of the repository: ${climbing}")
  endif()
endforeach()
