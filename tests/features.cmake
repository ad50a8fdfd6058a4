# quarlo_feature_test(name label source...): a suite of a feature; it counts and refuses allocations.
function(quarlo_feature_test name labels)
  separate_arguments(labels)
  quarlo_test(${name} LABELS ${labels} SOURCES ${ARGN})
  quarlo_watch_allocations(${name})
endfunction()
quarlo_feature_test(event_test feature QUARLO-Core-API-Event_test.cpp)
quarlo_feature_test(vehicle_data_test feature
  QUARLO-Core-VehicleData_test.cpp onReceiveBlacklistUrgentVehicleData_test.cpp)
quarlo_feature_test(phone_services_test feature QUARLO-Core-API-Event-Phone_test.cpp)
quarlo_feature_test(custom_data_test feature
  QUARLO-Core-CustomData_test.cpp QUARLO-Core-RawData_test.cpp onReceiveServerCustomData_test.cpp)
quarlo_feature_test(app_start_test feature
  QUARLO-Core-API-AppStart_test.cpp QUARLO-Core-AppList_test.cpp onReceiveServerAppInfo_test.cpp)
quarlo_frame_test(app_icon_test LABELS feature SOURCES onReceiveServerAppIcon_test.cpp)
quarlo_feature_test(audio_test feature QUARLO-Core-Audio_test.cpp)
quarlo_feature_test(audio_timer_test "feature threads" QUARLO-Core-Audio_threads_test.cpp)
quarlo_watch_threads(audio_timer_test)
quarlo_feature_test(features_threads_test "feature threads" features_threads_test.cpp)
quarlo_watch_threads(features_threads_test)
