# Tests of the head unit: its parts, and whole sessions with the phone program.
if(TARGET headunit_parts)
  quarlo_test(headunit_test LABELS headunit threads
    SOURCES common_control_test.cpp headunit_options_test.cpp headunit_reports_test.cpp
      headunit_script_test.cpp headunit_screen_test.cpp
    LIBRARIES headunit_parts ZLIB::ZLIB)
endif()

# mirror_over(transport name mode expected OPTIONS...): see mirror_test.sh.
function(mirror_over transport name mode expected)
  add_test(NAME mirror.${name} COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/mirror_test.sh
    ${PROJECT_BINARY_DIR} ${transport} ${mode} ${expected} ${ARGN})
  set_tests_properties(mirror.${name} PROPERTIES LABELS e2e TIMEOUT 120)
endfunction()
function(mirror_test)
  mirror_over(tcp ${ARGV})
endfunction()

if(TARGET quarlo-phone AND TARGET quarlo-headunit)
  # Without its timer a short session need not wait for it at its end.
  set(timed --size 321x203)
  set(small ${timed} --init-timeout 0)
  # zlib is decoded by a plug-in, or in raw output by the head unit.
  set(raw_output --raw --supported all)
  if(TARGET QUARLO-Decomp01)
    set(zlib_output)
    mirror_test(raw-output pictures 4 --compression zlib -- ${small} ${raw_output} --frames 4)
  else()
    set(zlib_output ${raw_output})
  endif()
  # Each pixel format in both orders, one after the other.
  set(layouts --format rgb888)
  set(picture 0)
  foreach(layout endian=big format=rgb565 endian=little format=argb8888 endian=big format=rgba8888 endian=little)
    math(EXPR picture "${picture} + 1")
    list(APPEND layouts --at ${picture}:${layout})
  endforeach()
  mirror_test(raw pictures 8 --compression raw -- ${small} ${layouts} --frames 8)
  mirror_test(zlib pictures 8 --compression zlib -- ${small} ${layouts} --frames 8 ${zlib_output})
  # Every transport has a pair of programs; tcp is in all the others.
  foreach(transport unix serial beside)
    mirror_over(${transport} ${transport} pictures 4 --ping-limit 60 -- ${small} --frames 4)
  endforeach()
  if(TARGET links_attach)
    set(attach examples/links_attach)
    mirror_over(called called attaches ${attach} -- tcp-server %HOST %PORT)
    mirror_over(tcp descriptors attaches ${attach} -- descriptors 3 3)
  endif()
  mirror_test(full pictures 3 --compression raw -- ${small} --full --frames 3)
  mirror_test(changes pictures 5 -- ${small} --format rgb565 --frames 5 --at 1:format=argb8888
    --at 2:size=640x480 --at 3:compression=raw --at 4:suspend --at 4:resume)

  foreach(stage protocol init done)
    mirror_test(refused.${stage} fails "before RUN" --refuse ${stage} -- ${small} --frames 3)
  endforeach()
  mirror_test(refused.framesize fails "frame size not acknowledged" --refuse framesize --
    ${small} --frames 3 --at 1:size=200x100)
  mirror_test(refused.pixelformat fails "after 1 of 3" --refuse pixelformat --
    ${small} --frames 3 --at 1:format=rgb888)
  mirror_test(refused.compression pictures 3 --refuse compression --
    ${small} --frames 3 --at 1:compression=raw)
  foreach(stage protocol init serverinit done)
    mirror_test(silent.${stage} fails "RUN was not reached within 1 s" --stall ${stage} --
      ${timed} --init-timeout 1 --frames 3)
  endforeach()
  mirror_test(silent.frames fails "no sign of life" --stall frames --
    ${small} --watchdog 1 --frames 3)
  mirror_test(late fails "the time is over" --stall frames -- ${small} --seconds 0.5 --frames 3)
  mirror_test(dropped.init fails "closed the connection" --drop-at-stage init --
    ${small} --frames 3)
  # In the smallest pieces, and slower than pictures are drawn.
  mirror_test(fault.fragment pictures 2 --compression raw --fragment 3 -- ${small} --frames 2)
  mirror_test(fault.slow pictures 2 --compression raw --slow 500000 -- ${small} --frames 2)
  # Struck for the first time in the handshake.
  foreach(fault duplicate=30 reorder=30 damage=3 damage=30)
    mirror_test(fault.${fault} survives "fault: packet" --${fault} --
      ${small} --frames 10 --watchdog 3 --seconds 30)
  endforeach()
  mirror_test(dropped.frames fails "after 2 of 3" --drop-after-frames 2 -- ${small} --frames 3)

  set(scenarios formats faults)
  if(TARGET QUARLO-Decomp01)
    list(APPEND scenarios script)
  endif()
  foreach(scenario IN LISTS scenarios)
    add_test(NAME check.${scenario} COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/check_test.sh
      ${PROJECT_BINARY_DIR} ${scenario})
    set_tests_properties(check.${scenario} PROPERTIES LABELS e2e TIMEOUT 180 COST 40)
  endforeach()

  set(scenarios tcp unix_socket listening script cut refused silent half_open interrupted gives_up nobody)
  if(TARGET QUARLO-Decomp01)
    list(APPEND scenarios in_flight_zlib)
  endif()
  if(TARGET QUARLO-Decomp00)
    list(APPEND scenarios in_flight_jpeg)
  endif()
  # Under a sanitizer it is the sanitizer's library that opens plug-ins, and it searches elsewhere.
  if(TARGET QUARLO-Decomp01 AND NOT QUARLO_SANITIZE)
    list(APPEND scenarios no_plug_in)
  endif()
  foreach(scenario IN LISTS scenarios)
    add_test(NAME reconnect.${scenario} COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/reconnect_test.sh
      ${PROJECT_BINARY_DIR} ${scenario})
    set_tests_properties(reconnect.${scenario} PROPERTIES LABELS e2e TIMEOUT 120)
  endforeach()
endif()

# Scripts and control sockets of both programs.
if(TARGET quarlo-phone AND TARGET quarlo-headunit)
  foreach(scenario holds fails ends_early control)
    add_test(NAME script.${scenario} COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/script_test.sh
      ${PROJECT_BINARY_DIR} ${scenario})
    set_tests_properties(script.${scenario} PROPERTIES LABELS e2e TIMEOUT 300)
  endforeach()
endif()

# The tour of the demo, played once, and what it left behind.
if(TARGET quarlo-phone AND TARGET quarlo-headunit AND TARGET quarlo-contact-sheet AND TARGET QUARLO-Decomp00
   AND TARGET QUARLO-Decomp01)
  set(tour ${CMAKE_CURRENT_BINARY_DIR}/tour)
  add_test(NAME tour.plays COMMAND bash ${PROJECT_SOURCE_DIR}/tools/tour.sh ${PROJECT_BINARY_DIR} ${tour}
    --dump ${tour}/tour.dump)
  set_tests_properties(tour.plays PROPERTIES LABELS e2e TIMEOUT 300 FIXTURES_SETUP tour COST 60)
endif()
