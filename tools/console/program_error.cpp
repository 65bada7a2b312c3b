#include "console/program_error.h"

#include <new>

namespace sorvane::tools {

Failure currentFailure() {
    try {
        throw;
    } catch (const ProgramEnd&) {
        throw;
    } catch (const ProgramError& error) {
        return {error.exitCode(), error.what()};
    } catch (const std::bad_alloc&) {
        return {exitFailure, "out of memory"};
    } catch (const std::exception& error) {
        return {exitFailure, error.what()};
    } catch (...) {
        return {exitFailure, "unknown failure"};
    }
}

} // namespace sorvane::tools
