# Sourced by scripts that need a phone of their own.
# shellcheck shell=bash

# start_phone BUILD DIR OPTIONS...: starts quarlo-phone, on a free port or where phone_place says, and waits until it
# listens; its log goes on in DIR/phone.log. Sets phone (its process) and address. The caller ends the phone if it ends
# early itself.
phone_place=(--listen 127.0.0.1:0)
start_phone() {
    local build=$1 dir=$2
    shift 2
    mkdir -p "$dir"
    rm -f "$dir/port"
    "$build/phone/quarlo-phone" "${phone_place[@]}" --port-file "$dir/port" "$@" >>"$dir/phone.log" 2>&1 &
    phone=$!
    for ((i = 0; i < 600; ++i)); do
        [ ! -s "$dir/port" ] || break
        if ! kill -0 "$phone" 2>/dev/null && [ ! -s "$dir/port" ]; then
            echo "the phone does not listen:" >&2
            cat "$dir/phone.log" >&2
            exit 1
        fi
        sleep 0.05
    done
    # shellcheck disable=SC2034  # for the caller
    case ${phone_place[0]} in
        --unix) address=unix:${phone_place[1]} ;;
        *) address=127.0.0.1:$(<"$dir/port") ;;
    esac
    rm -f "$dir/port"
}
