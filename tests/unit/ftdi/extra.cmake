# The D2XX stand-in the binding tests load, complete and without FT_Purge.
foreach(variant fake_d2xx fake_d2xx_without_purge)
  add_library(${variant} SHARED ${CMAKE_CURRENT_SOURCE_DIR}/unit/ftdi/fake/fake_d2xx.cpp)
  set_target_properties(${variant} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/ftdi_fakes)
  add_dependencies(test_ftdi ${variant})
endforeach()
target_compile_definitions(fake_d2xx_without_purge PRIVATE FAKE_D2XX_WITHOUT_PURGE)
target_compile_definitions(test_ftdi PRIVATE FAKE_D2XX_PATH="$<TARGET_FILE:fake_d2xx>"
                           FAKE_D2XX_WITHOUT_PURGE_PATH="$<TARGET_FILE:fake_d2xx_without_purge>")
target_include_directories(test_ftdi PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/unit/ftdi/fake)
