/* liboptdoe: optimal Latin hypercube designs.
 *
 * A request says what is asked for, a design is what comes of it or what a file holds, scores tell how good a design
 * is. Each is an opaque handle that its caller makes, uses and frees.
 *
 *     optdoe_request *request;
 *     optdoe_design *design;
 *     if (optdoe_request_new(&request) || optdoe_design_new(&design)) return 1;
 *     optdoe_request_set_number(request, "runs", 50);
 *     optdoe_request_add_factor(request, "Temp", 20, 80, "C");
 *     optdoe_request_add_factor(request, "Flow", 1, 5, "l/h");
 *     optdoe_request_set(request, "criterion", "cd2");
 *     if (optdoe_request_run(request, design) != OPTDOE_OK) puts(optdoe_request_message(request));
 *
 * Errors    Every call that can fail returns a status. The message of a failed call stands in the handle that the
 *           call is named after (optdoe_request_..., optdoe_design_..., optdoe_scores_...) until the next call on
 *           that handle. A failed call changes neither request nor results. A null handle is OPTDOE_INVALID; so is
 *           any other null pointer where nothing else is said.
 * Strings   Text that goes in is UTF-8 and ends with a zero byte. Text that comes out belongs to its handle and stays
 *           valid until the next call on that handle.
 * Arrays    Tables of numbers are row-major: run by run, the factors of a run side by side. The caller gives room and
 *           its count of elements, which has to be runs x factors exactly.
 * Threads   There is no global state. Any number of handles may be used on any number of threads at the same time;
 *           one handle is used by one thread at a time, but for optdoe_request_stop. Handles that a call only reads
 *           (const) may be read by several threads at once. Equal requests give equal designs, whatever ran before
 *           or runs beside them, unless a clock or a stop ends the search.
 * Process   No signal handler, no locale, nothing on standard output or error. A search starts threads of its own and
 *           has ended all of them when it returns. Drawing (optdoe_design_plot) starts gnuplot.
 * Stable    Functions and values of this header keep their meaning within liboptdoe.so.1; structures may grow at
 *           their end, which their first member tells.
 */
#ifndef OPTDOE_H
#define OPTDOE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define OPTDOE_API __attribute__((visibility("default")))
#else
#define OPTDOE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef int optdoe_status;
enum {
    OPTDOE_OK = 0,
    OPTDOE_INVALID = 1,   /* an argument or a setting; the message names it, its value and its range */
    OPTDOE_REFUSED = 2,   /* a file, the data, the machine or the library refuses */
    OPTDOE_NO_MEMORY = 3, /* memory is exhausted */
    OPTDOE_INTERNAL = 4   /* a fault of liboptdoe */
};

typedef struct optdoe_request optdoe_request;
typedef struct optdoe_design optdoe_design;
typedef struct optdoe_scores optdoe_scores;

/* The version of the library, "1.0.0". */
OPTDOE_API const char *optdoe_version(void);

/* ---- Settings: what a request can be told by name ----------------------------------------------------------------
 *
 * The names are those of the program's options without their dashes; "_" may stand for "-". Settings are numbered
 * from 0 in the order of the program's help; the numbers may change from release to release, the names do not. */

OPTDOE_API size_t optdoe_setting_count(void);

/* Name and description (sentence, range or choices, default) of a setting; null beyond the last. Live for ever. */
OPTDOE_API const char *optdoe_setting_name(size_t index);
OPTDOE_API const char *optdoe_setting_help(size_t index);

/* Range and default of a setting of numbers; NaN where there is none, or where it depends on the design.
 *   low, high, fallback   out, each may be null
 *   returns OPTDOE_INVALID beyond the last setting */
OPTDOE_API optdoe_status optdoe_setting_range(size_t index, double *low, double *high, double *fallback);

/* ---- Requests ---------------------------------------------------------------------------------------------------- */

/* A new request: everything at its default. The caller frees it.
 *   returns OPTDOE_NO_MEMORY with *request null */
OPTDOE_API optdoe_status optdoe_request_new(optdoe_request **request);

/* Frees a request; null is allowed. Not while it runs. */
OPTDOE_API void optdoe_request_free(optdoe_request *request);

/* The message of the last call on this request; empty after one that succeeded or for null. */
OPTDOE_API const char *optdoe_request_message(const optdoe_request *request);

/* Sets by name. A value is checked by itself here and against the rest when the request is checked or run.
 *   text      as the program's option takes it: "cd2", "30s", "1,0.5,0.5"; null: back to the default
 *   value     a number; for a flag, 0 takes it back and 1 sets it
 *   values    in [count] a list, one value for all factors or one each
 * A setting is replaced, but "factor" adds one: "Temp=20:80:C". Next to the settings of the search these are known:
 *   "runs", "factors"         sizes; the factors follow from those that are added
 *   "seed"                    0 .. 4294967294; without one the clock gives it, and the design tells it
 *   "time"                    seconds that the search may take, on all cores unless "jobs" says less
 *   "starts", "effort", "stop-after", "jobs", "shard", "results", "resume"   campaigns
 *   "balanced", "coding", "placement", "entry-levels"                        the design */
OPTDOE_API optdoe_status optdoe_request_set(optdoe_request *request, const char *name, const char *text);
OPTDOE_API optdoe_status optdoe_request_set_number(optdoe_request *request, const char *name, double value);
OPTDOE_API optdoe_status optdoe_request_set_numbers(optdoe_request *request, const char *name, const double *values,
                                                    size_t count);

/* Adds a factor.
 *   name        not empty, not a number, of no other factor
 *   low, high   its range, low < high; both NaN: none
 *   unit        of the physical values; may be null or empty */
OPTDOE_API optdoe_status optdoe_request_add_factor(optdoe_request *request, const char *name, double low, double high,
                                                   const char *unit);

/* The design to begin with instead of a random one; it is copied. null: random again. */
OPTDOE_API optdoe_status optdoe_request_set_start(optdoe_request *request, const optdoe_design *start);

/* Asks for `added` runs to be added to those of a design, which stay as they are; it is copied. "runs" is not set
 * then. null: no longer. */
OPTDOE_API optdoe_status optdoe_request_augment(optdoe_request *request, const optdoe_design *old, size_t added);

/* How things stand in a search. */
typedef struct optdoe_progress {
    size_t size;         /* of this structure, in the library that fills it */
    double seconds;      /* since the search began */
    int64_t searches;    /* finished or cut */
    int64_t running;     /* searches at work */
    int64_t rounds;      /* of the running searches */
    double initial;      /* objective of a start; NaN: none known yet */
    double best;         /* lowest objective so far; NaN: none yet */
    uint32_t best_seed;  /* of the search that found it */
    double best_seconds; /* when it was found */
} optdoe_progress;

/* Called at the beginning, about 20 times a second (less often where a search looks at the clock less often, as with
 * tens of thousands of runs) and at the end, on the thread that runs the request. Any answer but 0 ends the search:
 * the best design so far is the result. It must not use the request and must return (no longjmp, no exception). */
typedef int (*optdoe_progress_function)(const optdoe_progress *progress, void *user);

/* null: no progress. */
OPTDOE_API optdoe_status optdoe_request_set_progress(optdoe_request *request, optdoe_progress_function function,
                                                     void *user);

/* Ends the search that runs, as an answer of the progress function does; where none runs, the next one at its
 * beginning, which gives its start. From any thread, also while the request runs. */
OPTDOE_API void optdoe_request_stop(optdoe_request *request);

/* Checks everything that can be known before a search. */
OPTDOE_API optdoe_status optdoe_request_check(optdoe_request *request);

/* Searches and stores the best design in `result`, whose former content goes. On failure it is kept. Remarks that are
 * no errors (a design that no round improved, fewer searches at a time for want of memory) can be read with
 * optdoe_request_remarks. */
OPTDOE_API optdoe_status optdoe_request_run(optdoe_request *request, optdoe_design *result);

/* Remarks of the last run, a line each; empty: none. */
OPTDOE_API const char *optdoe_request_remarks(const optdoe_request *request);

/* ---- Designs ----------------------------------------------------------------------------------------------------- */

/* A new design without runs. The caller frees it.
 *   returns OPTDOE_NO_MEMORY with *design null */
OPTDOE_API optdoe_status optdoe_design_new(optdoe_design **design);

/* Frees a design; null is allowed. */
OPTDOE_API void optdoe_design_free(optdoe_design *design);

/* The message of the last call on this design; empty after one that succeeded or for null. */
OPTDOE_API const char *optdoe_design_message(const optdoe_design *design);

/* Reads a design file, CSV or JSON, ours or another program's. */
OPTDOE_API optdoe_status optdoe_design_read(optdoe_design *design, const char *file);

/* Reads the same from memory.
 *   text   in [size] bytes */
OPTDOE_API optdoe_status optdoe_design_parse(optdoe_design *design, const char *text, size_t size);

/* Takes numbers as a file of another program holds them; optdoe_design_interpret tells what they mean.
 *   values   in [count] finite numbers, count = runs x factors */
OPTDOE_API optdoe_status optdoe_design_set(optdoe_design *design, const double *values, size_t count, size_t runs,
                                           size_t factors);

/* Takes names, ranges and units from the request's factors, and what the numbers mean from its "coding", where the
 * design does not know them itself. Refuses to contradict what it knows. */
OPTDOE_API optdoe_status optdoe_design_interpret(optdoe_design *design, const optdoe_request *request);

/* The best of the results files of one problem, or of parts of it.
 *   files        in [count] names
 *   incomplete   not 0: also where starts that were asked for are missing */
OPTDOE_API optdoe_status optdoe_design_merge(optdoe_design *design, const char *const *files, size_t count,
                                             int incomplete);

/* Number of runs and of factors; each pointer may be null. */
OPTDOE_API optdoe_status optdoe_design_size(optdoe_design *design, size_t *runs, size_t *factors);

/* A factor, counted from 0.
 *   name, unit    out, may be null; valid until the design changes or is freed
 *   low, high     out, may be null; NaN without a range
 *   level_count   out, may be null: levels 1 .. level_count; where no level is known, the count of distinct values */
OPTDOE_API optdoe_status optdoe_design_factor(optdoe_design *design, size_t factor, const char **name,
                                              const char **unit, double *low, double *high, size_t *level_count);

/* Levels 1 .. level_count of each factor.
 *   levels   out [count]
 *   returns OPTDOE_REFUSED where no level is known, or added runs stand between levels */
OPTDOE_API optdoe_status optdoe_design_levels(optdoe_design *design, int32_t *levels, size_t count);

/* The numbers of a design.
 *   coding   "levels" (not whole between levels), "unit" (0..1), "physical" (in the factors' ranges), or "written"
 *            (as they stand in the file)
 *   values   out [count]
 *   returns OPTDOE_REFUSED where no level or no range is known */
OPTDOE_API optdoe_status optdoe_design_values(optdoe_design *design, const char *coding, double *values, size_t count);

/* What came of a search. */
typedef struct optdoe_outcome {
    size_t size;      /* set by the caller: sizeof(optdoe_outcome) */
    double objective; /* of the design as it is written; NaN where the criterion does not apply */
    double initial;   /* of the start of the search that found the design */
    double seconds;   /* that everything took */
    int64_t searches; /* that were made */
    int64_t rounds;   /* of the search that found the design */
    uint32_t seed;    /* of that search */
    int32_t stopped;  /* not 0: the progress function or optdoe_request_stop ended it */
} optdoe_outcome;

/* The outcome of the search that made the design.
 *   returns OPTDOE_REFUSED for a design that was read or set */
OPTDOE_API optdoe_status optdoe_design_outcome(optdoe_design *design, optdoe_outcome *outcome);

/* The provenance as a JSON object: program, version, command, seed, end, rounds, settings, coding, factors,
 * objective. The command repeats the design without a clock, on one core; a start or an old design that came from no
 * file stands as "-", standard input. "{}": none is known. */
OPTDOE_API optdoe_status optdoe_design_provenance(optdoe_design *design, const char **json);

/* The course of the search as CSV: seed (of several searches), round, seconds, objective. */
OPTDOE_API optdoe_status optdoe_design_history(optdoe_design *design, const char **csv);

/* Gives a design that was read or parsed the course of its search back, for its report and its picture.
 *   csv   in [size] bytes, as optdoe_design_history tells it */
OPTDOE_API optdoe_status optdoe_design_set_history(optdoe_design *design, const char *csv, size_t size);

/* The design file as text.
 *   format   "csv" or "json" */
OPTDOE_API optdoe_status optdoe_design_text(optdoe_design *design, const char *format, const char **text);

/* Writes the design file, JSON where the name ends in .json, else CSV. The file appears whole or not at all. */
OPTDOE_API optdoe_status optdoe_design_write(optdoe_design *design, const char *file);

/* Writes a page about the design, HTML, with this many random designs beside it. */
OPTDOE_API optdoe_status optdoe_design_report(optdoe_design *design, const char *file, size_t random_designs);

/* Draws the design by gnuplot: .svg, .png or .pdf. */
OPTDOE_API optdoe_status optdoe_design_plot(optdoe_design *design, const char *file);

/* ---- Scores ------------------------------------------------------------------------------------------------------ */

/* New scores without measures. The caller frees them.
 *   returns OPTDOE_NO_MEMORY with *scores null */
OPTDOE_API optdoe_status optdoe_scores_new(optdoe_scores **scores);

/* Frees scores; null is allowed. */
OPTDOE_API void optdoe_scores_free(optdoe_scores *scores);

/* The message of the last call on these scores; empty after one that succeeded or for null. */
OPTDOE_API const char *optdoe_scores_message(const optdoe_scores *scores);

/* Scores a design of at least two runs by all measures.
 *   overrides        settings of criteria ("p", "theta", "weights", ...) that go before those the design records;
 *                    null: none
 *   random_designs   random Latin hypercubes to compare with, 0 .. 100000 */
OPTDOE_API optdoe_status optdoe_scores_evaluate(optdoe_scores *scores, const optdoe_design *design,
                                                const optdoe_request *overrides, size_t random_designs);

OPTDOE_API optdoe_status optdoe_scores_count(optdoe_scores *scores, size_t *count);

/* A measure, counted from 0. Each pointer may be null.
 *   key           out: its name in JSON
 *   label         out: its name for people
 *   value         out: NaN where it does not apply
 *   random_mean   out: mean of the random designs; NaN where it does not apply or none were asked for
 *   where         out: the pair of runs or factors that it is taken at; may be empty */
OPTDOE_API optdoe_status optdoe_scores_measure(optdoe_scores *scores, size_t index, const char **key,
                                               const char **label, double *value, double *random_mean,
                                               const char **where);

/* All of it as text.
 *   format   "table" or "json" */
OPTDOE_API optdoe_status optdoe_scores_text(optdoe_scores *scores, const char *format, const char **text);

#ifdef __cplusplus
}
#endif

#endif
