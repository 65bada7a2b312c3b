#include "console/program_error.h"

#include <new>
#include <sorvane_host.hpp>

namespace sorvane::tools {

namespace {

int exitCodeOf(SorvaneHostStatus status) {
    switch (status) {
    case SORVANE_HOST_NOT_FOUND:
        return exitInput;
    case SORVANE_HOST_BAD_MODEL:
    case SORVANE_HOST_BAD_RATE:
        return exitModel;
    case SORVANE_HOST_NO_BUS:
        return exitUsage;
    default:
        return exitFailure;
    }
}

} // namespace

Failure currentFailure() {
    try {
        throw;
    } catch (const ProgramEnd&) {
        throw;
    } catch (const ProgramError& error) {
        return {error.exitCode(), error.what()};
    } catch (const host::Error& error) {
        return {exitCodeOf(error.status()), error.what()};
    } catch (const std::bad_alloc&) {
        return {exitFailure, "out of memory"};
    } catch (const std::exception& error) {
        return {exitFailure, error.what()};
    } catch (...) {
        return {exitFailure, "unknown failure"};
    }
}

} // namespace sorvane::tools
