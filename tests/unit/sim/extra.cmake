# The bench's own tests drive the chip model (and the bench) in-process.
target_link_libraries(test_${area} PRIVATE vt_chip)
target_include_directories(test_${area} PRIVATE ${CMAKE_SOURCE_DIR})
