# Shared set-up of the end-to-end scripts, sourced with their two arguments (the plotwright binary and the source
# tree): absolute paths of both, a scratch folder removed at exit, and counting of failed checks.
bin=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
src=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}
