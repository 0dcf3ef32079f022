# find_package(OpenImageIO), made to work with Debian's package: its target names the headers of an OpenCV that the
# package neither needs nor installs, and CMake refuses targets with include folders that do not exist.
macro(lumora_find_openimageio)
  find_package(OpenImageIO REQUIRED)
  get_target_property(lumora_oiio_includes OpenImageIO::OpenImageIO INTERFACE_INCLUDE_DIRECTORIES)
  set(lumora_oiio_existing "")
  foreach(folder IN LISTS lumora_oiio_includes)
    if(EXISTS "${folder}")
      list(APPEND lumora_oiio_existing "${folder}")
    endif()
  endforeach()
  set_target_properties(OpenImageIO::OpenImageIO PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${lumora_oiio_existing}")
endmacro()
