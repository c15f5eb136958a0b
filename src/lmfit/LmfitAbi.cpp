// The exported functions, control records and message tables of src/lmfit.
#include "VindrelRegLib.h"

#include "lmfit/LeastSquares.h"
#include "lmfit/PrintFit.h"

namespace {

using namespace vindrel;

constexpr lm_control_struct published(const LeastSquaresControl &control) {
  return {control.ftol,      control.xtol,    control.gtol,      control.epsilon,
          control.stepBound, control.maxCall, control.scaleDiag, control.printFlags};
}

void callPrintout(void *state, const FitProgress &p) {
  lm_printout_ftype *const printout = *static_cast<lm_printout_ftype **>(state);
  printout(p.parameterCount, p.parameters, p.residualCount, p.data, p.residuals, p.printFlags,
           static_cast<int>(p.stage), p.iteration, p.evaluations);
}

} // namespace

const lm_control_struct lm_control_double = published(kDoubleControl);
const lm_control_struct lm_control_float = published(kFloatControl);

const char *lm_shortmsg[kFitInfoCount] = {
    "success (0)", "success (f)", "success (p)", "success (f,p)", "degenerate",    "call limit",
    "failed (f)",  "failed (p)",  "failed (o)",  "no memory",     "invalid input", "user break",
};

const char *lm_infmsg[kFitInfoCount] = {
    "success (sum of squares below underflow limit)",
    "success (the relative error in the sum of squares is at most tol)",
    "success (the relative error between x and the solution is at most tol)",
    "success (both errors are at most tol)",
    "trapped by degeneracy (fvec is orthogonal to the columns of the jacobian)",
    "timeout (number of calls to fcn has reached maxcall*(n+1))",
    "failure (ftol<tol: cannot reduce sum of squares any further)",
    "failure (xtol<tol: cannot improve approximate solution any further)",
    "failure (gtol<tol: cannot improve approximate solution any further)",
    "exception (not enough memory)",
    "fatal coding error (improper input parameters)",
    "exception (break requested within function evaluation)",
};

void lmmin(int n_par, double *par, int m_dat, const void *data, lm_evaluate_ftype *evaluate,
           const lm_control_struct *control, lm_status_struct *status, lm_printout_ftype *printout) {
  const LeastSquaresControl inner = {.ftol = control->ftol,
                                     .xtol = control->xtol,
                                     .gtol = control->gtol,
                                     .epsilon = control->epsilon,
                                     .stepBound = control->stepbound,
                                     .maxCall = control->maxcall,
                                     .scaleDiag = control->scale_diag != 0,
                                     .printFlags = control->printflags};
  FitObserver observer;
  if (printout != nullptr) observer = {callPrintout, &printout};
  const FitResult result = leastSquares(n_par, par, m_dat, data, evaluate, inner, observer);
  status->fnorm = result.norm;
  status->nfev = result.evaluations;
  status->info = static_cast<int>(result.info);
}

void lm_printout_std(int n_par, const double *par, int m_dat, const void *data, const double *fvec, int printflags,
                     int iflag, int iter, int nfev) {
  printFit({.parameterCount = n_par,
            .parameters = par,
            .residualCount = m_dat,
            .data = data,
            .residuals = fvec,
            .printFlags = printflags,
            .stage = static_cast<FitStage>(iflag),
            .iteration = iter,
            .evaluations = nfev});
}
