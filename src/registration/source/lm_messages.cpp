// Status texts of the Levenberg-Marquardt minimiser.
#include "velmora_sr/homography.h"

const char* const lm_shortmsg[11] = {
    "invalid input", "success (f)", "success (p)", "success (f,p)", "degenerate", "call limit",
    "failed (f)",    "failed (p)",  "failed (o)",  "no memory",     "user break",
};

// The texts for 4 and 5 have always been one entry; hosts know the table in this form.
const char* const lm_infmsg[10] = {
    "fatal coding error (improper input parameters)",
    "success (the relative error in the sum of squares is at most tol)",
    "success (the relative error between x and the solution is at most tol)",
    "success (both errors are at most tol)",
    ("trapped by degeneracy (fvec is orthogonal to the columns of the jacobian)"
     "timeout (number of calls to fcn has reached maxcall*(n+1))"),
    "failure (ftol<tol: cannot reduce sum of squares any further)",
    "failure (xtol<tol: cannot improve approximate solution any further)",
    "failure (gtol<tol: cannot improve approximate solution any further)",
    "exception (not enough memory)",
    "exception (break requested within function evaluation)",
};
