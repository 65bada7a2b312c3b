# Options that every target of the project is compiled with.

if(MSVC)
    add_compile_options(/W4)
    if(SORVANE_WERROR)
        add_compile_options(/WX)
    endif()
else()
    # Without -ffp-contract=off a compiler may fuse a product and a sum where the target has the
    # instruction, and results would differ by target. Where the code fuses, it says so.
    add_compile_options(-Wall -Wextra -Wshadow -Wconversion -Wdouble-promotion -ffp-contract=off)
    if(SORVANE_WERROR)
        add_compile_options(-Werror)
    endif()
endif()

if(SORVANE_SANITIZE)
    add_compile_options(-fsanitize=${SORVANE_SANITIZE} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${SORVANE_SANITIZE})
endif()

if(SORVANE_COVERAGE)
    # Tests count from several threads; without atomic counts lines that ran can look as if they had not.
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
