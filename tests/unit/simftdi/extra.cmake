# The FTDI emulation's tests: the MPSSE engine in-process against a fake
# target, the emulated libftd2xx.so loaded with dlopen like any client, and
# vtarget --ftdi with a plain MPSSE client (only when the virtual target is
# part of the build).
target_include_directories(test_${area} PRIVATE ${CMAKE_SOURCE_DIR})
if(TARGET ftd2xx)
  target_link_libraries(test_${area} PRIVATE vt_mpsse vt_config vtbench)
  target_compile_definitions(test_${area} PRIVATE VT_FTDI_DIR="${CMAKE_BINARY_DIR}/sim/ftdi"
                             VT_BIN_DIR="${CMAKE_BINARY_DIR}/sim")
  add_dependencies(test_${area} ftd2xx vtarget vt_ftdi_client)
else()
  target_sources(test_${area} PRIVATE ${CMAKE_SOURCE_DIR}/sim/ftdi/mpsse_engine.cpp
                 ${CMAKE_SOURCE_DIR}/sim/ftdi/ftdi_wiring.cpp ${CMAKE_SOURCE_DIR}/sim/ftdi/ftdi_bus.cpp
                 ${CMAKE_SOURCE_DIR}/sim/bench/config.cpp
                 ${CMAKE_SOURCE_DIR}/sim/bench/faults.cpp)
endif()
