# Conversions, readings, limits and the bank guard, function by function.
kestrel_test(convert_test convert_test.cpp LIBS kestrel_items kestrel_test_door)
kestrel_test(voltage_test voltage_test.cpp LIBS kestrel_items kestrel_test_door)
kestrel_test(chip_table_test ../chip_table_test.cpp
  LIBS kestrel_items kestrel_test_door)
target_compile_definitions(chip_table_test PRIVATE SOURCE_DIR="${CMAKE_SOURCE_DIR}")

# Over the recorder of the buses; its objects come before the libraries, so that the real buses stay out.
kestrel_test(raw_read_test raw_read_test.cpp $<TARGET_OBJECTS:kestrel_hw_recorder>
  LIBS kestrel_items kestrel_test_door)
kestrel_test(readings_test readings_test.cpp $<TARGET_OBJECTS:kestrel_hw_recorder>
  LIBS kestrel_items kestrel_test_door)
kestrel_test(limits_test limits_test.cpp $<TARGET_OBJECTS:kestrel_hw_recorder>
  LIBS kestrel_items kestrel_test_door)
kestrel_test(bank_select_test bank_select_test.cpp $<TARGET_OBJECTS:kestrel_hw_recorder>
  LIBS kestrel_items kestrel_test_door)

# Has its own permission calls and controller search: no door and no recorder.
kestrel_test(ports_test ports_test.cpp LIBS kestrel_items kestrel_hw)
kestrel_test(r2m_names_test r2m_names_test.cpp LIBS kestrel_items kestrel_test_door)
