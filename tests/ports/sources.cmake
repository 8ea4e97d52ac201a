# The port contract suite's sources, the same on every platform; each platform's build adds
# the one file that provides the implementation under test.
set(VARSEL_PORT_CONTRACT_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/accessibility_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/channels_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/events_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/hardware_input_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/installation_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/overlay_windows_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/power_and_log_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/preferences_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/run_loop_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/update_fetch_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/window_server_contract_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/workspace_contract_test.cpp)
set(VARSEL_TESTDATA_DIR "${PROJECT_SOURCE_DIR}/../shared/testdata" CACHE PATH
    "Files from outside the project that the tests read")
