# Clearing of latched switches, over the recorder of the buses and the door's ports.
kestrel_test(intrusion_test intrusion_test.cpp $<TARGET_OBJECTS:kestrel_hw_recorder>
  LIBS kestrel_items kestrel_test_door)
# Which accesses are one turn at the machine.
kestrel_test(sequences_test sequences_test.cpp $<TARGET_OBJECTS:kestrel_hw_recorder>
  LIBS kestrel_items kestrel_test_door)
