# The camera on the bench, and the bench itself.
foreach(name interface transform mat clock motion script call_log sensors magnetometer camera camera_loss
             camera_scripts faults files picture recorded_file bench bench_threads bench_file)
  gravimon_add_test(tst_${name} SOURCES tst_${name}.cpp LIBRARIES gravimon::om_bench)
endforeach()
target_compile_definitions(tst_bench_file PRIVATE SOURCE_DIR="${PROJECT_SOURCE_DIR}")
# The worked bench files; calibrated with the program's own fit.
gravimon_add_test(tst_bench_examples SOURCES tst_bench_examples.cpp
                  LIBRARIES gravimon::om_bench gravimon::calibration)
target_compile_definitions(tst_bench_examples PRIVATE SOURCE_DIR="${PROJECT_SOURCE_DIR}")
