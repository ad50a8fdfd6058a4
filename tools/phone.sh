# Sourced by scripts that need a phone of their own.
# shellcheck shell=bash

# start_phone BUILD DIR OPTIONS...: starts quarlo-phone for one connection on a free port, with its log in
# DIR/phone.log; sets phone (its process) and address. The caller ends the phone if it ends early itself.
start_phone() {
    local build=$1 dir=$2
    shift 2
    rm -f "$dir/port"
    "$build/phone/quarlo-phone" --listen 127.0.0.1:0 --port-file "$dir/port" --once "$@" \
        >"$dir/phone.log" 2>&1 &
    phone=$!
    for ((i = 0; i < 600; ++i)); do
        [ ! -s "$dir/port" ] || break
        if ! kill -0 "$phone" 2>/dev/null; then
            echo "the phone does not listen:" >&2
            cat "$dir/phone.log" >&2
            return 1
        fi
        sleep 0.05
    done
    # shellcheck disable=SC2034  # for the caller
    address=127.0.0.1:$(cat "$dir/port")
    rm -f "$dir/port"
}
