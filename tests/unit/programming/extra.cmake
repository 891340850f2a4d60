# The memory operations and special cells run against the chip bench of the
# chip-access tests: the virtual target's chip model behind a test adapter.
target_sources(test_${area} PRIVATE ${CMAKE_SOURCE_DIR}/tests/unit/isp/chip_bench.cpp
                                    ${CMAKE_SOURCE_DIR}/tests/unit/isp/line_adapter.cpp)
include(${CMAKE_SOURCE_DIR}/tests/unit/isp/extra.cmake)
