# The engine as a module of WebAssembly: SorvaneEngine.wasm and the script that loads it. The script
# gives one function, createSorvaneEngine, whose promise is a module with the exported functions under
# their names after an underscore, _malloc and _free for their blocks, the views on its memory
# (HEAPF32), and FS, where a host puts the file of a model before it creates a processor.
add_executable(sorvane_module $<TARGET_OBJECTS:SorvaneEngine>)
target_link_libraries(sorvane_module PRIVATE sorvane_core)
set_target_properties(sorvane_module PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME SorvaneEngine)

file(STRINGS exports.map exports REGEX "^    sorvane")
list(TRANSFORM exports REPLACE "^ *(sorvane[A-Za-z]+);" "_\\1")
list(JOIN exports "," exports)
target_link_options(sorvane_module PRIVATE
    -sMODULARIZE -sEXPORT_NAME=createSorvaneEngine -sEXPORTED_FUNCTIONS=${exports},_malloc,_free
    -sEXPORTED_RUNTIME_METHODS=FS,UTF8ToString,stringToUTF8 -sFORCE_FILESYSTEM
    -sENVIRONMENT=web,worker,node --no-entry)
