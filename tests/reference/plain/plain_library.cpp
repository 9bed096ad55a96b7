#include "tests/reference/plain/plain_library.h"

#include "optdoe/entry/run_slots.h"
#include "optdoe/search/column_moves.h"
#include "optdoe/search/search_driver.h"

const plain_library* optdoe_plain_library()
{
    static const plain_library library{
        optdoe_run, run_slots_open, run_slots_close, criterion_for, column_move, &choice_counter,
    };
    return &library;
}
