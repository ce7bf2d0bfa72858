# The Material Symbols glyphs compiled into pluvo_render (see render/symbols.h). Add a glyph's
# file name here to make it available to render/symbols.cc.
# The glyphs are vendored with their licence in third_party/material-symbols.
set(PLUVO_SYMBOL_DIR ${PROJECT_SOURCE_DIR}/third_party/material-symbols/rounded-700)
set(PLUVO_SYMBOL_FILES
    sunny-fill partly_cloudy_day-fill cloud-fill rainy-fill rainy_heavy-fill rainy_light-fill
    thunderstorm-fill water_drop-fill schedule-fill arrow_upward)
set(symbol_sources "")
foreach(name IN LISTS PLUVO_SYMBOL_FILES)
  list(APPEND symbol_sources ${PLUVO_SYMBOL_DIR}/${name}.svg)
endforeach()
set(symbol_data ${CMAKE_CURRENT_BINARY_DIR}/render/symbol_data.cc)
string(REPLACE ";" "," symbol_names "${PLUVO_SYMBOL_FILES}")
add_custom_command(
  OUTPUT ${symbol_data}
  COMMAND ${CMAKE_COMMAND} -DDIR=${PLUVO_SYMBOL_DIR} -DNAMES=${symbol_names}
          -DOUT=${symbol_data} -P ${CMAKE_CURRENT_SOURCE_DIR}/render/embed_symbols.cmake
  DEPENDS ${symbol_sources} ${CMAKE_CURRENT_SOURCE_DIR}/render/embed_symbols.cmake
          ${CMAKE_CURRENT_SOURCE_DIR}/render/symbols.cmake
  COMMENT "Copying the Material Symbols path data into pluvo_render"
  VERBATIM)
target_sources(pluvo_render PRIVATE ${symbol_data})
