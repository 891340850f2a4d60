# The product's layers, bottom first, and the check that every #include points
# down. Each layer is one static library that links only the layers it USES;
# a layer may include the headers of those and of what they use in turn. A
# member is a whole folder ("isp/") or one file of a folder without its
# extension ("driver/messages"); a file listed on its own belongs to that
# layer, the rest of its folder to the folder's layer.
#
# Included by the top CMakeLists.txt (which builds the libraries and runs the
# check at configure time) and by check_layers.cmake (the same check as a test).

set(ZINDLE_LAYERS base devices image adapter isp ftdi lpt programming driver)

# Messages and errors, timers, run settings, signals, privileges, configuration search.
set(ZINDLE_LAYER_base_MEMBERS driver/process_state driver/messages driver/timer driver/clock_source driver/settings
    driver/signals driver/privileges driver/config_path)
set(ZINDLE_LAYER_base_USES "")
set(ZINDLE_LAYER_devices_MEMBERS devices/)
set(ZINDLE_LAYER_devices_USES base)
set(ZINDLE_LAYER_image_MEMBERS image/)
set(ZINDLE_LAYER_image_USES base)
set(ZINDLE_LAYER_adapter_MEMBERS adapter/)
set(ZINDLE_LAYER_adapter_USES base)
set(ZINDLE_LAYER_isp_MEMBERS isp/)
set(ZINDLE_LAYER_isp_USES adapter devices)
set(ZINDLE_LAYER_ftdi_MEMBERS ftdi/)
set(ZINDLE_LAYER_ftdi_USES adapter)
set(ZINDLE_LAYER_lpt_MEMBERS lpt/)
set(ZINDLE_LAYER_lpt_USES ftdi)
set(ZINDLE_LAYER_programming_MEMBERS programming/)
set(ZINDLE_LAYER_programming_USES isp image)
# Program entry, command line, help listings, banner, adapter key.
set(ZINDLE_LAYER_driver_MEMBERS driver/)
set(ZINDLE_LAYER_driver_USES programming lpt)

# ZINDLE_LAYER_<layer>_BELOW: every layer the layer may use, directly or not.
function(zindle_layer_closure)
  foreach(layer ${ZINDLE_LAYERS})
    set(below ${ZINDLE_LAYER_${layer}_USES})
    foreach(used ${ZINDLE_LAYER_${layer}_USES})
      if(NOT DEFINED ZINDLE_LAYER_${used}_BELOW)
        message(FATAL_ERROR "Layer ${layer} uses ${used}, which is not listed below it")
      endif()
      list(APPEND below ${ZINDLE_LAYER_${used}_BELOW})
    endforeach()
    list(REMOVE_DUPLICATES below)
    set(ZINDLE_LAYER_${layer}_BELOW "${below}" PARENT_SCOPE)
    set(ZINDLE_LAYER_${layer}_BELOW "${below}")
  endforeach()
endfunction()

# The layer of a source path relative to the source root ("isp/lock.cpp"),
# or "" when it belongs to none.
function(zindle_layer_of path out)
  string(REGEX REPLACE "\\.[^./]*$" "" stem "${path}")
  string(REGEX REPLACE "/[^/]*$" "/" folder "${path}")
  set(found "")
  foreach(layer ${ZINDLE_LAYERS})
    if(stem IN_LIST ZINDLE_LAYER_${layer}_MEMBERS)
      set(${out} ${layer} PARENT_SCOPE)
      return()
    endif()
    if(NOT found AND folder IN_LIST ZINDLE_LAYER_${layer}_MEMBERS)
      set(found ${layer})
    endif()
  endforeach()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

# The product folders: every folder named by a layer.
function(zindle_layer_folders out)
  set(folders "")
  foreach(layer ${ZINDLE_LAYERS})
    foreach(member ${ZINDLE_LAYER_${layer}_MEMBERS})
      string(REGEX REPLACE "/.*$" "" folder "${member}")
      list(APPEND folders ${folder})
    endforeach()
  endforeach()
  list(REMOVE_DUPLICATES folders)
  set(${out} "${folders}" PARENT_SCOPE)
endfunction()

# The sources of one layer (full paths), main.cpp aside.
function(zindle_layer_sources root layer out)
  zindle_layer_folders(folders)
  set(sources "")
  foreach(folder ${folders})
    file(GLOB candidates CONFIGURE_DEPENDS ${root}/${folder}/*.cpp)
    foreach(file ${candidates})
      file(RELATIVE_PATH rel ${root} ${file})
      zindle_layer_of(${rel} owner)
      if(owner STREQUAL layer AND NOT rel MATCHES "/main\\.cpp$")
        list(APPEND sources ${file})
      endif()
    endforeach()
  endforeach()
  set(${out} "${sources}" PARENT_SCOPE)
endfunction()

# Fails with one line per offence: a file of a product folder outside every
# layer, or an #include "folder/file" of a layer the including file's layer
# may not use.
function(zindle_check_layers root)
  zindle_layer_closure()
  zindle_layer_folders(folders)
  set(offences "")
  foreach(folder ${folders})
    file(GLOB files ${root}/${folder}/*.cpp ${root}/${folder}/*.h)
    foreach(file ${files})
      file(RELATIVE_PATH rel ${root} ${file})
      zindle_layer_of(${rel} layer)
      if(NOT layer)
        string(APPEND offences "  ${rel} belongs to no layer\n")
        continue()
      endif()
      file(STRINGS ${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]+\"[^\"]+/[^\"]+\"")
      foreach(line ${includes})
        string(REGEX REPLACE "^[^\"]*\"([^\"]+)\".*$" "\\1" target "${line}")
        zindle_layer_of(${target} used)
        if(NOT used)
          string(REGEX REPLACE "/.*$" "" used_folder "${target}")
          if(NOT used_folder IN_LIST folders)
            string(APPEND offences "  ${rel} includes ${target}, outside the product\n")
          else()
            string(APPEND offences "  ${rel} includes ${target}, which belongs to no layer\n")
          endif()
        elseif(NOT used STREQUAL layer AND NOT used IN_LIST ZINDLE_LAYER_${layer}_BELOW)
          string(APPEND offences "  ${rel} (layer ${layer}) includes ${target} (layer ${used})\n")
        endif()
      endforeach()
    endforeach()
  endforeach()
  if(offences)
    message(FATAL_ERROR "Includes that do not point down the layers (cmake/layers.cmake):\n${offences}")
  endif()
endfunction()
