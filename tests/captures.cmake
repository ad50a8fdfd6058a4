# The dissector in tshark.
find_program(TSHARK tshark)
if(NOT TSHARK)
  message(STATUS "dissector_test is not available: no tshark")
elseif(TARGET quarlo-dissector)
  quarlo_test(dissector_test LABELS e2e SHARDS 2 SOURCES dissector_test.cpp
    LIBRARIES quarlo_test_wire)
  target_compile_definitions(dissector_test PRIVATE QUARLO_TSHARK="${TSHARK}"
    QUARLO_DISSECTOR="${PROJECT_BINARY_DIR}/tools/quarlo.lua")
  add_dependencies(dissector_test quarlo-dissector)
endif()

# Captures played back. A sanitizer opens plug-ins itself, and does not find those of the program.
if(TARGET quarlo-replay)
  quarlo_test(replay_test LABELS links threads SOURCES replay_test.cpp)
  target_compile_definitions(replay_test PRIVATE QUARLO_REPLAY="$<TARGET_FILE:quarlo-replay>")
  add_dependencies(replay_test quarlo-replay)
endif()

# Captures that are kept, and what a host gets of them.
if(TARGET quarlo-replay AND TARGET QUARLO-Decomp00 AND TARGET QUARLO-Decomp01)
  file(GLOB kept CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/captures/*.pcapng)
  foreach(capture IN LISTS kept)
    get_filename_component(name ${capture} NAME_WE)
    string(REGEX REPLACE "pcapng$" "jsonl" output ${capture})
    add_test(NAME replay.${name} COMMAND bash -c
      "$<TARGET_FILE:quarlo-replay> --pace 10 ${capture} | diff - ${output} && $<TARGET_FILE:quarlo-replay> --compare ${capture}")
    set_tests_properties(replay.${name} PROPERTIES LABELS links TIMEOUT 60)
  endforeach()
endif()

# What the tour has left, where it is played.
find_program(PYTHON3 python3)
if(TSHARK AND PYTHON3 AND TEST tour.plays AND TARGET quarlo-replay)
  add_test(NAME tour.left COMMAND ${PYTHON3} ${CMAKE_CURRENT_SOURCE_DIR}/tour_test.py
    ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_BINARY_DIR}/tour WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  set_tests_properties(tour.left PROPERTIES LABELS e2e TIMEOUT 120 FIXTURES_REQUIRED tour)
endif()
