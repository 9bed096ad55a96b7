/// Opening and closing of the criteria's slots: plain storage, zeroed; a slot that fails stays null, closing a null
/// slot does nothing. The tables of a criterion are tracked storage, made by its set-up.
#pragma once

#include "optdoe/run/run_context.h"

void a2_open(run_context* ctx);
void a2_close(run_context* ctx);
void cd2_open(run_context* ctx);
void cd2_close(run_context* ctx);
void entropy_open(run_context* ctx);
void entropy_close(run_context* ctx);
void phip_open(run_context* ctx);
void phip_close(run_context* ctx);
