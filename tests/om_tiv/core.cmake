# The camera on the bench, and the bench itself.
foreach(name transform mat clock motion script call_log sensors camera faults)
  gravimon_add_test(tst_${name} SOURCES tst_${name}.cpp LIBRARIES gravimon::om_bench)
endforeach()
