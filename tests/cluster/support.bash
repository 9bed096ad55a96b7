# A folder of its own, the programs, and what an Open MPI wants before it starts ranks here.
load ../cli/support

export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1

# ranks COUNT WORD...: optdoe-mpi on so many ranks. No rank outlives a test.
ranks() {
    timeout --foreground 60 "$MPIEXEC" -n "$1" "$OPTDOE_MPI" "${@:2}" 3>&-
}

# The process of a rank of the job that mpiexec with this process number runs.
process_of_rank() {
    local process
    for process in $(pgrep -x optdoe-mpi); do
        if tr '\0' '\n' <"/proc/$process/environ" | grep -qE "^(PMI_RANK|OMPI_COMM_WORLD_RANK)=$1$" &&
            tr '\0' '\n' <"/proc/$process/environ" | grep -qxF "TEST_FOLDER=$PWD"; then
            echo "$process"
        fi
    done
}
