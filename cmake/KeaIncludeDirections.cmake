# Checks that the folders under src/ include each other only downwards:
#
#   ui, cli  ->  presentation  ->  interop  ->  document  ->  model <-> dynamic  ->  http  ->  settings  ->  text
#
# (ui and cli may include anything below them, not each other; every layer
# above text may include settings.) An include names a header by file name; it belongs to the
# folder under src/ that holds a header of that name. Headers found in no
# folder (Qt, system, generated) are not checked.
#
# Run as a script: cmake -DKEA_SOURCE_ROOT=<folder holding src/> -P KeaIncludeDirections.cmake
# It prints every upward include and fails when there is one.

if(NOT KEA_SOURCE_ROOT)
  message(FATAL_ERROR "KeaIncludeDirections: set KEA_SOURCE_ROOT to the folder that holds src/")
endif()

# The folders each folder may include besides itself.
set(allowed_text "") # text includes nothing of Kea
set(allowed_settings text)
set(allowed_http settings text)
set(allowed_model dynamic http settings text)
set(allowed_dynamic model http settings text)
set(allowed_document model dynamic http settings text)
set(allowed_interop document model dynamic http settings text)
set(allowed_presentation interop document model dynamic http settings text)
set(allowed_ui presentation interop document model dynamic http settings text)
set(allowed_cli presentation interop document model dynamic http settings text)

set(src "${KEA_SOURCE_ROOT}/src")
file(GLOB folders RELATIVE "${src}" "${src}/*")
list(SORT folders)

# Which folder each header lives in.
set(sources)
foreach(folder ${folders})
  if(NOT IS_DIRECTORY "${src}/${folder}")
    continue()
  endif()
  file(GLOB_RECURSE headers RELATIVE "${src}/${folder}" "${src}/${folder}/*.h")
  foreach(header ${headers})
    get_filename_component(name "${header}" NAME)
    set(home_${name} "${folder}")
  endforeach()
  file(GLOB_RECURSE folder_sources "${src}/${folder}/*.h" "${src}/${folder}/*.cpp")
  if(folder_sources AND NOT DEFINED allowed_${folder})
    message(SEND_ERROR "src/${folder} is not a known layer: add it to cmake/KeaIncludeDirections.cmake")
  endif()
  list(APPEND sources ${folder_sources})
endforeach()

set(upward 0)
foreach(source ${sources})
  file(RELATIVE_PATH relative "${src}" "${source}")
  string(REGEX REPLACE "/.*" "" folder "${relative}")
  file(STRINGS "${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[^\"]+\"")
  foreach(line ${includes})
    string(REGEX REPLACE "^[^\"]*\"([^\"]+)\".*" "\\1" included "${line}")
    get_filename_component(name "${included}" NAME)
    if(NOT DEFINED home_${name})
      continue()
    endif()
    set(home "${home_${name}}")
    if(home STREQUAL folder)
      continue()
    endif()
    list(FIND allowed_${folder} "${home}" index)
    if(index EQUAL -1)
      message(STATUS "upward include: src/${relative} includes ${name} from src/${home}")
      math(EXPR upward "${upward} + 1")
    endif()
  endforeach()
endforeach()

if(upward GREATER 0)
  message(FATAL_ERROR "${upward} include(s) point up a layer (allowed: ui, cli -> presentation -> interop -> document -> "
                      "model <-> dynamic -> http -> settings -> text)")
endif()
