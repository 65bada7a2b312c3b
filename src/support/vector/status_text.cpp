#include "support/vector/ipps.h"

const char* ippGetStatusString(IppStatus status) {
    switch (status) {
    case ippStsNoErr:
        return "ippStsNoErr: No errors";
    case ippStsDivByZero:
        return "ippStsDivByZero: Zero value(s) for the divisor in the Div function";
    case ippStsLnZeroArg:
        return "ippStsLnZeroArg: Zero value(s) for the argument in the Ln function";
    case ippStsLnNegArg:
        return "ippStsLnNegArg: Negative value(s) for the argument in the Ln function";
    case ippStsErr:
        return "ippStsErr: Unknown/unspecified error, -2";
    case ippStsSizeErr:
        return "ippStsSizeErr: Incorrect value for data size";
    case ippStsNullPtrErr:
        return "ippStsNullPtrErr: Null pointer error";
    case ippStsContextMatchErr:
        return "ippStsContextMatchErr: Context parameter does not match the operation";
    case ippStsFftOrderErr:
        return "ippStsFftOrderErr: Invalid value for the FFT order parameter";
    case ippStsFftFlagErr:
        return "ippStsFftFlagErr: Invalid value for the FFT flag parameter";
    case ippStsThresholdErr:
        return "ippStsThresholdErr: Invalid threshold bounds";
    case ippStsSamplePhaseErr:
        return "ippStsSamplePhaseErr: Phase value is out of range: 0 <= phase < factor";
    case ippStsSampleFactorErr:
        return "ippStsSampleFactorErr: Sampling factor is less than, or equal to zero";
    case ippStsUnknownStatusCodeErr:
        break;
    }
    return "ippStsUnknownStatusCodeErr: Unknown status code";
}
