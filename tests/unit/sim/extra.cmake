# The virtual target's own tests drive the chip model, the port wiring and the
# MPSSE engine in-process, load the emulated libftd2xx.so with dlopen like any
# client, and run vtarget with plain ISP clients for the emulation end to end
# (those only when the virtual target is part of the build).
target_include_directories(test_${area} PRIVATE ${CMAKE_SOURCE_DIR})
if(TARGET vt_chip)
  target_link_libraries(test_${area} PRIVATE vt_chip vt_config)
  target_compile_definitions(test_${area} PRIVATE VT_BIN_DIR="${CMAKE_BINARY_DIR}/sim" VT_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  add_dependencies(test_${area} vtarget vt_lpt_client)
else()
  # the chip model comes with the test support library
  target_sources(test_${area} PRIVATE ${CMAKE_SOURCE_DIR}/sim/bench/config.cpp
                 ${CMAKE_SOURCE_DIR}/sim/bench/faults.cpp)
endif()
target_sources(test_${area} PRIVATE ${CMAKE_SOURCE_DIR}/sim/lpt/wiring.cpp ${CMAKE_SOURCE_DIR}/sim/bench/vcd_writer.cpp)
if(TARGET ftd2xx)
  target_link_libraries(test_${area} PRIVATE vt_mpsse vtbench)
  target_compile_definitions(test_${area} PRIVATE VT_FTDI_DIR="${CMAKE_BINARY_DIR}/sim/ftdi")
  add_dependencies(test_${area} ftd2xx)
else()
  target_sources(test_${area} PRIVATE ${CMAKE_SOURCE_DIR}/sim/ftdi/mpsse_engine.cpp
                 ${CMAKE_SOURCE_DIR}/sim/ftdi/ftdi_wiring.cpp ${CMAKE_SOURCE_DIR}/sim/ftdi/ftdi_bus.cpp)
endif()
