# The camera on the bench, and the bench itself.
foreach(name interface transform mat clock motion script call_log sensors magnetometer camera camera_loss
             camera_scripts faults picture recorded_file bench bench_threads bench_file)
  gravimon_add_test(tst_${name} SOURCES tst_${name}.cpp LIBRARIES gravimon::om_bench)
endforeach()
target_compile_definitions(tst_bench_file PRIVATE SOURCE_DIR="${PROJECT_SOURCE_DIR}")
