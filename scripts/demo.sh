#!/usr/bin/env bash
# Starts the real application with everything it talks to stood in on this machine: the product's
# service, the speech-to-text and language-model services (tools/demo/demo_services.py, answering
# from the demo media), a stand-in Resolve with the timeline "Interview Selects", a plugin folder and
# a home of the demo's own. No Resolve, account or API key is needed, and nothing of yours is touched.
# The media folder also holds a sample editor's cut of the interview as timeline files, so the demo
# mines and audits from files as an editor without Resolve Studio does.
# Closing the window or Ctrl-C stops every stand-in. Arguments go to the application.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${BUILD_DIR:-build}

# Spoken interview answers in two voices, made once and kept with the build.
media=${ONDREL_DEMO_MEDIA:-$root/$build/demo-media}
app=${ONDREL_APP:-$root/$build/src/app/ondrel-manager}

# The browser's sign-in returns through the URL scheme to the single-instance socket: with another
# Ondrel Manager on it, the sign-in would go there and this launch would only hand over and end.
if "$app" --is-running; then
    cat >&2 <<'TEXT'
Ondrel Manager is already running, so the demo does not start: the browser's sign-in would reach
the running window, not the demo's. Quit it and start the demo again, or give the demo a socket of
its own and sign in with the token it prints:
  ONDREL_INSTANCE_SOCKET=ondrel-demo bash scripts/run.sh --demo
TEXT
    exit 1
fi

python3 tools/demo/make_media.py "$media"
# The sample timeline files name the media by their real paths; the text below shows the same.
media=$(realpath "$media")

home=$(mktemp -d -t ondrel-demo-XXXXXX)
services_pid=""
cleanup() {
    if [ -n "$services_pid" ]; then
        kill "$services_pid" 2>/dev/null || true
        wait "$services_pid" 2>/dev/null || true
    fi
    rm -rf "$home"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

python3 tools/demo/demo_services.py "$media" "$home/requests.jsonl" > "$home/services.out" 2>&1 &
services_pid=$!
for _ in $(seq 100); do
    grep -q '^PORT ' "$home/services.out" 2>/dev/null && break
    sleep 0.1
done
port=$(sed -n 's/^PORT //p' "$home/services.out")
[ -n "$port" ] || { cat "$home/services.out" >&2; echo "The demo's services did not start." >&2; exit 1; }
python3 tools/demo/resolve_state.py tests/fixtures/resolve "$media" "$home/resolve_state.json"

export HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_CACHE_HOME="$home/.cache" XDG_DATA_HOME="$home/.local/share"
export ONDREL_API_URL="http://127.0.0.1:$port"
export OPENAI_BASE_URL="http://127.0.0.1:$port/v1" ANTHROPIC_BASE_URL="http://127.0.0.1:$port"
export OPENAI_API_KEY=demo ANTHROPIC_API_KEY=demo
export ONDREL_RESOLVE_SCRIPT_API="$root/tests/fixtures" ONDREL_RESOLVE_SCRIPT_LIB="$root/tests/fixtures/resolve"
export ONDREL_FAKE_RESOLVE_STATE="$home/resolve_state.json"
export ONDREL_PLUGIN_DIR="$home/Workflow Integration Plugins/com.tarnwell.ondrel" ONDREL_ADMIN_SHELL=plain

token=$(python3 -c "import sys; sys.path.insert(0, 'tools/demo'); import demo_services; print(demo_services.TOKEN)")
cat <<TEXT
Ondrel Manager demo — every service stands in on 127.0.0.1:$port.
  Sign in with the browser, or choose "Sign in with token" and paste: $token
  Then mine the timeline "Interview Selects". Closing the window ends the demo.
  Or mine without Resolve: choose "Media files" and pick the folder
    $media
  or "Timeline file" and pick
    $media/Interview Cut.fcpxml
  an editor's first cut (Interview Cut.edl beside it is the same cut as an EDL), which the mode
  "Audit" searches for the answers it left out.
  The demo's home: $home
TEXT
# The browser's sign-in returns through the URL scheme to the default single-instance socket, so the
# demo keeps that socket unless one is given (ONDREL_INSTANCE_SOCKET). An instance started since the
# check above would take that sign-in: the application then ends with its reason, and so do the
# stand-ins.
"$app" --no-hand-off "$@"
