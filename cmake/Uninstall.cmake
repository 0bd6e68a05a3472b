# Takes away what "cmake --install" put in place: every file that the build's
# install_manifest.txt lists, then each folder that install_folders.txt says an
# install made, once nothing but empty folders is left in it. A folder that
# holds anything else is kept and named.
# Usage: cmake -D BUILD_DIR=build -P cmake/Uninstall.cmake
if(NOT EXISTS "${BUILD_DIR}/install_manifest.txt")
  message(FATAL_ERROR "${BUILD_DIR}/install_manifest.txt is missing: nothing was installed from this build")
endif()
file(STRINGS "${BUILD_DIR}/install_manifest.txt" files)
foreach(file IN LISTS files)
  if(EXISTS "${file}" OR IS_SYMLINK "${file}")
    file(REMOVE "${file}")
    message(STATUS "Removed: ${file}")
  endif()
endforeach()

set(folders "")
if(EXISTS "${BUILD_DIR}/install_folders.txt")
  file(STRINGS "${BUILD_DIR}/install_folders.txt" folders)
endif()
# The deepest first, so that a folder inside another one goes before it.
list(SORT folders)
list(REVERSE folders)
foreach(folder IN LISTS folders)
  if(NOT IS_DIRECTORY "${folder}")
    continue()
  endif()
  file(GLOB_RECURSE inside LIST_DIRECTORIES false "${folder}/*")
  if(inside)
    message(STATUS "Kept, as it holds other files: ${folder}")
  else()
    file(REMOVE_RECURSE "${folder}")
    message(STATUS "Removed: ${folder}")
  endif()
endforeach()
file(REMOVE "${BUILD_DIR}/install_manifest.txt" "${BUILD_DIR}/install_folders.txt")
