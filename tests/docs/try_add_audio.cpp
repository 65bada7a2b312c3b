// A block of docs/hosting.md, which stands beside this file when it is compiled.

#include "sorvane_engine.h"

#include "try_add_audio.inc"
