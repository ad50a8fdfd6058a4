# Tests of the windows: without a screen, and with one that nobody looks at.
if(TARGET quarlo_fingers)
  quarlo_test(display_test LABELS window SOURCES display_fingers_test.cpp
    LIBRARIES quarlo_fingers)
endif()
if(TARGET headunit_window)
  quarlo_test(headunit_window_test LABELS window SOURCES headunit_window_test.cpp
    LIBRARIES headunit_window)
  if(TARGET quarlo-phone)
    add_test(NAME window COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/window_test.sh
      ${PROJECT_BINARY_DIR})
    set_tests_properties(window PROPERTIES LABELS "e2e;window" TIMEOUT 300)
  endif()
endif()
