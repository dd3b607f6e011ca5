# The bidi calls: natively on the layer, under Wine on the double of the COM server.
vlp_test(bidi_calls
  SOURCES bidi_calls.cpp bidi_exchange.cpp com_calls.cpp signatures_bidi.cpp bidi_identifiers.cpp)

# What the tests' far side says, the calls answer. Under Wine a second program does the same
# beside the doubles of winspool.drv and mpr.dll; it is made in tests/windows.
vlp_test(far_side_world SOURCES far_side_world.cpp)

vlp_test(bidi_layer NATIVE_ONLY SOURCES bidi_layer.cpp bidi_identifiers.cpp)
