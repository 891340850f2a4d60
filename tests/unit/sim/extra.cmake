# The bench's own tests drive the chip model and the port wiring in-process, and
# run vtarget with a plain ISP client for the emulation end to end (only when the
# virtual target is part of the build).
if(TARGET vt_chip)
  target_link_libraries(test_${area} PRIVATE vt_chip vt_config)
  target_compile_definitions(test_${area} PRIVATE VT_BIN_DIR="${CMAKE_BINARY_DIR}/sim" VT_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  add_dependencies(test_${area} vtarget vt_lpt_client)
else()
  file(GLOB vt_test_chip_srcs ${CMAKE_SOURCE_DIR}/sim/chip/*.cpp)
  target_sources(test_${area} PRIVATE ${vt_test_chip_srcs} ${CMAKE_SOURCE_DIR}/sim/bench/config.cpp
                 ${CMAKE_SOURCE_DIR}/sim/bench/faults.cpp)
endif()
target_sources(test_${area} PRIVATE ${CMAKE_SOURCE_DIR}/sim/lpt/wiring.cpp ${CMAKE_SOURCE_DIR}/sim/bench/vcd_writer.cpp)
target_include_directories(test_${area} PRIVATE ${CMAKE_SOURCE_DIR})
