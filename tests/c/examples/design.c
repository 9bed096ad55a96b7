/* A design of 50 runs from C. */
#include <optdoe.h>
#include <stdio.h>

int main(void)
{
    static int32_t levels[50 * 5];
    const char *names[] = {"Temp", "Flow", "Speed", "Load", "Time"};
    optdoe_request *request = NULL;
    optdoe_design *design = NULL;
    int failed = optdoe_request_new(&request) || optdoe_design_new(&design);
    for (int j = 0; j < 5 && !failed; ++j)
        failed = optdoe_request_add_factor(request, names[j], 0, 10 * (j + 1), "") != OPTDOE_OK;
    failed = failed || optdoe_request_set_number(request, "runs", 50) ||
             optdoe_request_set(request, "criterion", "cd2") ||
             optdoe_request_set_number(request, "effort", 20000) ||
             optdoe_request_set_number(request, "seed", 5) || optdoe_request_run(request, design);
    if (failed)
        fprintf(stderr, "%s\n", optdoe_request_message(request));
    else if (optdoe_design_levels(design, levels, 50 * 5) == OPTDOE_OK)
        for (int i = 0; i < 50; ++i)
            printf("%d,%d,%d,%d,%d\n", (int)levels[5 * i], (int)levels[5 * i + 1], (int)levels[5 * i + 2],
                   (int)levels[5 * i + 3], (int)levels[5 * i + 4]);
    optdoe_design_free(design);
    optdoe_request_free(request);
    return failed;
}
