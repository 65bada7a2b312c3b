#!/bin/sh
# Compares what the library exports with what its public header declares.
# usage: check_exports.sh TOOL LIBRARY HEADER [COUNT]
# TOOL is nm, or objdump for a DLL.
set -eu
tool=$1
library=$2
header=$3

# The plain names, and the engine's two C++ functions that stand beside them.
declared=$(
    grep -Eo '^ *SORVANE_(HOST_)?API [A-Za-z0-9_* ]*sorvane[A-Za-z]*\(' "$header" |
        sed 's/.*\(sorvane[A-Za-z]*\)(/\1/'
    case $header in
    *sorvane_engine.h)
        echo 'sorvane::ProcessorState::getParameterRange(int, float*, float*)'
        echo 'sorvane::sorvaneGetProcessorInfo(void*, SorvaneModelInfo*)'
        ;;
    esac
)
declared=$(echo "$declared" | sort -u)
case $tool in
*objdump) # the table of names
    names=$("$tool" -p "$library" | sed -n '/^\[Ordinal/,/^$/s/^\t.*\] //p')
    ;;
*) # type A is the name of a symbol version
    names=$("$tool" -D --defined-only "$library" | awk '$2 != "A" { print $3 }' | sed 's/@.*//')
    ;;
esac
exported=$(echo "$names" | c++filt | sort -u)

count=$(echo "$declared" | wc -l)
if [ "$count" -ne "${4:-24}" ]; then
    echo "the header declares $count functions instead of ${4:-24}:"
    echo "$declared"
    exit 1
fi
if [ "$declared" != "$exported" ]; then
    echo "declared:"
    echo "$declared"
    echo "exported:"
    echo "$exported"
    exit 1
fi
