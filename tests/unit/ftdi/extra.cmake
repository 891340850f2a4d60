# The binding tests load the virtual target's libftd2xx.so (skipped without the virtual target).
if(TARGET ftd2xx)
  target_compile_definitions(test_ftdi PRIVATE VT_FTDI_DIR="${CMAKE_BINARY_DIR}/sim/ftdi")
  add_dependencies(test_ftdi ftd2xx)
endif()
