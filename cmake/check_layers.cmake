# The layer check as a script: cmake -DZINDLE_SOURCE_DIR=<root> -P check_layers.cmake
cmake_minimum_required(VERSION 3.24)
include(${CMAKE_CURRENT_LIST_DIR}/layers.cmake)
zindle_check_layers(${ZINDLE_SOURCE_DIR})
