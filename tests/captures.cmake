# The dissector in tshark.
find_program(TSHARK tshark)
if(NOT TSHARK)
  message(STATUS "dissector_test is not available: no tshark")
elseif(TARGET quarlo-dissector)
  quarlo_test(dissector_test LABELS e2e TIMEOUT 240 SOURCES dissector_test.cpp
    LIBRARIES quarlo_test_wire)
  target_compile_definitions(dissector_test PRIVATE QUARLO_TSHARK="${TSHARK}"
    QUARLO_DISSECTOR="${PROJECT_BINARY_DIR}/tools/quarlo.lua")
  add_dependencies(dissector_test quarlo-dissector)
endif()
