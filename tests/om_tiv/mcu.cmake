# The microcontroller, its EEPROM, and the USB HID devices.
foreach(name eeprom heading mcu mcu_records mcu_threads)
  gravimon_add_test(tst_${name} SOURCES tst_${name}.cpp LIBRARIES gravimon::om_bench)
endforeach()
gravimon_add_test(tst_mcu_calibration SOURCES tst_mcu_calibration.cpp
                  LIBRARIES gravimon::om_bench Eigen3::Eigen)
gravimon_add_test(tst_hid SOURCES tst_hid.cpp LIBRARIES gravimon::om_bench gravimon::hid_sim)

# Whether hidapi can free what is added to its lists.
find_program(VALGRIND valgrind)
if(VALGRIND AND NOT GRAVIMON_SANITIZE)
  add_test(NAME tst_hid_memory
           COMMAND "${PROJECT_SOURCE_DIR}/tests/support/run-test" "${VALGRIND}" --quiet --leak-check=full
                   --errors-for-leak-kinds=definite --error-exitcode=9 $<TARGET_FILE:tst_hid>)
  set_tests_properties(tst_hid_memory PROPERTIES TIMEOUT 300)
endif()

if(TARGET hidbed)
  gravimon_add_test(tst_hidbed SOURCES tst_hidbed.cpp)
  target_compile_definitions(tst_hidbed PRIVATE
    HIDBED="$<TARGET_FILE:hidbed>"
    HIDPROBE="$<TARGET_FILE:hidprobe>"
    HIDPROBE_WITH_BENCH="$<TARGET_FILE:hidprobe_with_bench>")
  add_dependencies(tst_hidbed hidbed hidprobe hidprobe_with_bench)
endif()
