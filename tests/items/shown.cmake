# What is shown of the items: words, records, cells, the report, histories, changes; and the hiding of items
# that are not there.
foreach(name thermal_text_test display_test activation_test cell_text_test report_test history_test
    changes_test)
  kestrel_test(${name} ${name}.cpp $<TARGET_OBJECTS:kestrel_hw_recorder>
    LIBS kestrel_items kestrel_test_door)
endforeach()
