/* An allocator for LD_PRELOAD that fails requests of the library under test only, and counts what it holds.
 *
 * Requests are told apart by their return address: those from inside the mapping of the object whose file name contains
 * LIBRARY_NAME. The mapping is looked up when dlopen() has loaded it. What is to fail is read from, and counts are
 * written to, a file that the tested process maps (environment variable FAILING_ALLOCATOR), so that a virtual machine
 * can steer it between two calls. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#define LIBRARY_NAME "ZORBEXdoe_optimallatinhypercubeC"

struct control {
    int64_t armed;          /* 0: nothing fails, nothing is counted */
    int64_t fail_at;        /* position of the request that fails; negative: none */
    int64_t from_then_on;   /* not 0: all later ones fail too */
    int64_t requests;       /* out */
    int64_t live;           /* out: blocks obtained and not given back */
};

static struct control* control;
static uintptr_t library_start, library_end;

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void __libc_free(void*);

__attribute__((constructor)) static void map_control(void)
{
    const char* name = getenv("FAILING_ALLOCATOR");
    int file = name ? open(name, O_RDWR) : -1;
    if (file < 0)
        return;
    void* mapped = mmap(NULL, sizeof(struct control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (mapped != MAP_FAILED)
        control = mapped;
    close(file);
}

static int note_library(struct dl_phdr_info* info, size_t size, void* unused)
{
    (void)size;
    (void)unused;
    if (!strstr(info->dlpi_name, LIBRARY_NAME))
        return 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        uintptr_t end = info->dlpi_addr + info->dlpi_phdr[i].p_vaddr + info->dlpi_phdr[i].p_memsz;
        if (info->dlpi_phdr[i].p_type == PT_LOAD && end > library_end)
            library_end = end;
    }
    library_start = info->dlpi_addr;
    return 1;
}

void* dlopen(const char* file, int mode)
{
    void* (*real)(const char*, int) = (void* (*)(const char*, int))dlsym(RTLD_NEXT, "dlopen");
    void* handle = real(file, mode);
    if (file && strstr(file, LIBRARY_NAME))
        dl_iterate_phdr(note_library, NULL);
    return handle;
}

static int watched(const void* caller)
{
    uintptr_t address = (uintptr_t)caller;
    return control && control->armed && address >= library_start && address < library_end;
}

/* Counts a request of the library; true when it is to fail. */
static int refused(void)
{
    int64_t position = control->requests++;
    if (control->fail_at >= 0 &&
        (position == control->fail_at || (control->from_then_on && position > control->fail_at))) {
        errno = ENOMEM;
        return 1;
    }
    control->live += 1;
    return 0;
}

void* malloc(size_t size)
{
    return watched(__builtin_return_address(0)) && refused() ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size)
{
    return watched(__builtin_return_address(0)) && refused() ? NULL : __libc_calloc(count, size);
}

void free(void* block)
{
    if (block && watched(__builtin_return_address(0)))
        control->live -= 1;
    __libc_free(block);
}
