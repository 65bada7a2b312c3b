# Fails when an object file of a form of the vector layer holds code that the linker could share with
# other files: inline functions outside the form's own namespace.
#
#   cmake -D NM=nm -D OBJECT=form_avx2.cpp.o -D NAMESPACE=sorvaneXsimdAvx2 -P check_form_symbols.cmake
execute_process(COMMAND ${NM} --demangle --defined-only ${OBJECT}
    OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
list(LENGTH lines count)
if(count EQUAL 0)
    message(FATAL_ERROR "${OBJECT} has no symbols at all")
endif()
set(foreign "")
foreach(line IN LISTS lines)
    # Descriptions of types, which sanitizers add, are data.
    if(line MATCHES " [TWVu] " AND NOT line MATCHES "${NAMESPACE}::| typeinfo (name )?for ")
        string(APPEND foreign "\n${line}")
    endif()
endforeach()
if(foreign)
    message(FATAL_ERROR "${OBJECT} shares code with other files:${foreign}")
endif()
