# The chip-access tests drive the virtual target's chip model in-process
# through a bit-banging test adapter.
if(TARGET vt_chip)
  target_link_libraries(test_${area} PRIVATE vt_chip)
else()
  file(GLOB isp_test_chip_srcs ${CMAKE_SOURCE_DIR}/sim/chip/*.cpp)
  target_sources(test_${area} PRIVATE ${isp_test_chip_srcs})
endif()
