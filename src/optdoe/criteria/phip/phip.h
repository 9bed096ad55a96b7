/// The phi-p distance criterion, and the record of slot 6.
#pragma once

#include "optdoe/criteria/criterion_ops.h"

extern const criterion_ops phip_ops;
void phip_open(run_context* ctx);
void phip_close(run_context* ctx);
