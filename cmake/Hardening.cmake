# What makes faults harder to exploit, in builds to ship, of the types Release and MinSizeRel: canaries
# on stacks, checked string and memory functions, tables that are read-only once a library is loaded,
# and marks on the targets of indirect jumps. docs/performance.md tells what it costs.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

if(NOT CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang" OR WIN32 OR SORVANE_SANITIZE OR SORVANE_COVERAGE)
    return()
endif()

set(to_ship $<OR:$<CONFIG:Release>,$<CONFIG:MinSizeRel>>)
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection
        -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER SORVANE_HAS${flag} known)
    check_cxx_compiler_flag("-Werror ${flag}" ${known})
    if(${known})
        add_compile_options($<${to_ship}:${flag}>)
    endif()
endforeach()
# A system's own setting goes first. Level 3 also checks sizes that are known only when it runs.
set(CMAKE_REQUIRED_FLAGS "-Werror -O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <string>\nint main() {}" SORVANE_HAS_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
add_compile_options($<${to_ship}:-U_FORTIFY_SOURCE>
                    $<${to_ship}:-D_FORTIFY_SOURCE=$<IF:$<BOOL:${SORVANE_HAS_FORTIFY_3}>,3,2>>)
if(NOT APPLE)
    add_link_options($<${to_ship}:LINKER:-z,relro> $<${to_ship}:LINKER:-z,now>
                     $<${to_ship}:LINKER:-z,noexecstack>)
    # Programs at addresses that differ from run to run.
    include(CheckPIESupported)
    check_pie_supported()
endif()
