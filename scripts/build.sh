# How the scripts of this project build. Sourced, not run:
#   build PRESET LOG [TARGET...]    configures and builds, all of it unless targets are named; what the tools print
#                                   goes to build/LOG, whose end a failure shows before it ends the script

build() {
    local preset=$1 log=build/$2
    shift 2
    (
        cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
        mkdir -p build
        # On its own: a redirection that fails makes "if !" below go on as if all were well.
        : >"$log" || exit
        if ! { cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}; } >"$log" 2>&1; then
            tail -n 60 "$log" >&2
            echo "$0: the $preset build failed; its whole output is in $log" >&2
            exit 1
        fi
    ) || exit
}
