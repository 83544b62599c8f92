# lumisk_layer(NAME [LINKS layer...] [PRIVATE_LINKS target...])
#
# One static library of all sources in the calling folder. The layer's headers are reached as "NAME/header.h" through an
# include folder of its own, which a target sees only when it links the layer: an include of a floor above does not
# compile. What a layer must not use although it lies in /usr/include is checked by tests/layers_test.sh.
function(lumisk_layer NAME)
  cmake_parse_arguments(ARG "" "" "LINKS;PRIVATE_LINKS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(NOT sources)
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/empty.cpp CONTENT "")
    set(sources ${CMAKE_CURRENT_BINARY_DIR}/empty.cpp)
  endif()
  set(view ${CMAKE_BINARY_DIR}/include/${NAME})
  file(MAKE_DIRECTORY ${view})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${view}/${NAME} SYMBOLIC)
  add_library(lumisk_${NAME} STATIC ${sources})
  target_include_directories(lumisk_${NAME} PUBLIC ${view})
  list(TRANSFORM ARG_LINKS PREPEND lumisk_)
  target_link_libraries(lumisk_${NAME} PUBLIC ${ARG_LINKS} fmt::fmt tl::expected Threads::Threads
                        PRIVATE lumisk_options ${ARG_PRIVATE_LINKS})
  target_precompile_headers(lumisk_${NAME} PRIVATE <algorithm> <array> <atomic> <chrono> <functional> <map> <memory>
                            <mutex> <optional> <string> <string_view> <utility> <vector> <fmt/format.h>
                            <tl/expected.hpp>)
endfunction()
