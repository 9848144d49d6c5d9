# The virtual sensor's stream channel: GVSP sender, resend store and the
# synthetic scene. Included by sim/CMakeLists.txt into the ornc_sim library.
set(ORNSIM_STREAM_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/chunk_writer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/gvsp_block.cpp
  ${CMAKE_CURRENT_LIST_DIR}/gvsp_sender.cpp
  ${CMAKE_CURRENT_LIST_DIR}/resend_store.cpp
  ${CMAKE_CURRENT_LIST_DIR}/scene.cpp
)
# Directory to put on the include path so that "stream/gvsp_sender.h" (from
# sim/) and "gvsp_sender.h" (from here) both resolve.
set(ORNSIM_STREAM_INCLUDE_DIR ${CMAKE_CURRENT_LIST_DIR})
