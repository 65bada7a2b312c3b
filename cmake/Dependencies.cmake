# Every dependency of the project, with its reason. The shipped library needs none of them at run
# time: xsimd is headers alone.
#
#   xsimd             vector layer: one source for SSE, AVX2, AVX-512 and Arm, with its own exp, log,
#                     sin, cos and atan2 at about one unit in the last place   (libxsimd-dev)
#   libsndfile        host program and tests: audio files                      (libsndfile1-dev)
#   CLI11             host program: command line                               (libcli11-dev)
#   LADSPA            plug-ins: the interface's header; tests: its hosts       (ladspa-sdk)
#   LV2               plug-ins: the interface's headers                        (lv2-dev)
#   Python, pybind11  Python package: the module over the header             (python3-dev, pybind11-dev)
#   numpy             Python package: arrays                                   (python3-numpy)
#   matplotlib        Python package: the example that draws                   (python3-matplotlib)
#   Doxygen           tests: the reference of the header                     (doxygen)
#   GoogleTest        tests                                                    (libgtest-dev)
#   Google Benchmark  benches: the loop that times                             (libbenchmark-dev)
#   FFTW              benches: transforms to compare with                      (libfftw3-dev)
#   oneDNN            benches: convolutions to compare with                     (libdnnl-dev)
#   libsoxr           benches: a converter to compare with                     (libsoxr-dev)
#   nlohmann-json     host program and benches: reports as JSON                (nlohmann-json3-dev)
#   NumPy             exporter: arrays                                          (python3-numpy)
#   PyTorch           exporter: what networks are trained with                  (python3-torch)
#   pytest            exporter's tests with PyTorch                             (python3-pytest)
#   libFuzzer         fuzzers, with clang's sanitizers                         (libclang-rt-dev)
#   gcovr             coverage of lines                                        (gcovr)
#   gnuplot           demo: the picture of the spectrograms                    (gnuplot-nox)

find_package(Threads REQUIRED)
if(NOT EMSCRIPTEN) # whose form has lanes of its own
    find_package(xsimd 8.1 REQUIRED)
endif()

if(SORVANE_BUILD_TOOLS)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(sndfile REQUIRED IMPORTED_TARGET sndfile)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
endif()

if(SORVANE_BUILD_PLUGINS)
    find_path(LADSPA_INCLUDE_DIR ladspa.h REQUIRED)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(lv2 REQUIRED IMPORTED_TARGET lv2)
endif()

if(SORVANE_BUILD_PYTHON)
    find_package(Python REQUIRED COMPONENTS Interpreter Development.Module)
    find_package(pybind11 REQUIRED)
endif()

if(SORVANE_BUILD_TESTS)
    find_package(GTest REQUIRED)
endif()

if(SORVANE_BUILD_BENCHES AND SORVANE_BUILD_TESTS AND NOT EMSCRIPTEN)
    find_package(benchmark REQUIRED)
    # Not by its package, which asks for OpenCL.
    find_library(SORVANE_ONEDNN_LIBRARY dnnl REQUIRED)
    mark_as_advanced(SORVANE_ONEDNN_LIBRARY)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(soxr REQUIRED IMPORTED_TARGET soxr)
    pkg_check_modules(fftw REQUIRED IMPORTED_TARGET fftw3f)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
endif()
