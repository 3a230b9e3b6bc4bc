# Shared helpers for the scripts in this folder; sourced, not run.

NEXILO_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Runs a command as root: directly when we are root, through sudo otherwise.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

log() { printf '%s\n' "[$(basename "$0")] $*" >&2; }
die() { log "error: $*"; exit 1; }
