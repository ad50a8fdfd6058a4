#!/usr/bin/env bash
# options_test.sh BUILD VERSION: what every program says to its arguments. Each line of the table is the exit status,
# program and arguments as a shell reads them, and what is said: on standard output with status 0, else on
# standard error with the other one empty. %D is a directory of this test's own, %V the
# version.
set -euo pipefail

build=$1 version=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"
printf 'no store at all, but a letter\n' >letter
printf 'quarlo store' >almost
printf 'ab\0\0' >without-mark
declare -A at=([phone]=phone [headunit]=headunit [info]=tools [replay]=tools [soak]=tools)
problems=0

# line STATUS WHAT SAID: SAID holds texts with " ; " between them.
line() {
    local status=0 program arguments text stream=out other=err
    program=${2%% *}
    eval "arguments=(${2#"$program"})"
    "$build/${at[$program]}/quarlo-$program" "${arguments[@]}" >out 2>err </dev/null || status=$?
    [ "$1" -eq 0 ] || { stream=err other=out; }
    [ "$status" -eq "$1" ] || problem "$2" "exits with $status, not $1"
    [ ! -s $other ] || problem "$2" "also says: $(<$other)"
    while read -r text; do
        grep -qF -- "$text" $stream || problem "$2" "does not say '$text': $(<$stream)"
    done <<<"${3// ; /$'\n'}"
}
problem() {
    echo "quarlo-$1 $2"
    problems=$((problems + 1))
}

lines=0
while IFS='|' read -r status what said; do
    [[ $status == [0-9]* ]] || continue
    read -r what <<<"${what//%D/$directory}"
    said=${said//%V/$version}
    read -r said <<<"${said//%D/$directory}"
    line "$((status))" "$what" "$said"
    lines=$((lines + 1))
done <<'TABLE'
0 | phone --version | quarlo-phone %V
0 | headunit --version | quarlo-headunit %V
0 | info --version | quarlo-info %V
0 | replay --version | quarlo-replay %V
0 | soak --version | quarlo-soak %V

0 | phone --help | --listen=127.0.0.1:5910 ; --app-name TEXT=quarlo phone ; --softkeys=4 ; --seed=1 ; --fps=30
0 | phone --help | --most-units=8 ; --handshake-limit=10 ; --ping-limit=10
0 | phone --help | --compression=auto ; --render-percent=100 ; --size=1280x720 ; --dump-frames DIR
0 | headunit --help | --name TEXT=quarlo head unit ; --size=1280x720 ; --physical=154x87 ; --format=argb8888
0 | headunit --help | --endian=little ; --compression=none ; --init-timeout=60 ; --watchdog=0 ; --every=1
0 | headunit --help | =5 ; --trace=warning ; Exit status: 0
0 | info --help | --found ; Exit status: 0
0 | replay --help | --pace=max ; --port=5910 ; --size=1280x720 ; Exit status: 0
0 | soak --help | =600 ; =4 ; =60 ; --report

2 | phone --unix "" | --unix ; a PATH with a name
2 | phone --compression lzma | --compression ; raw
2 | phone --refuse nothing | --refuse ; pixelformat
2 | phone --stall "" | --stall ; serverinit
2 | phone --drop-at-stage never | --drop-at-stage ; frames
2 | phone --listen localhost | --listen ; HOST:PORT
2 | phone --listen localhost:70000 | --listen ; 65535
2 | phone --listen a:1 --unix b | --unix ; --listen
1 | phone --listen localhost:0 | cannot listen on localhost
2 | phone --connect host | --connect ; HOST:PORT ; unix:PATH
2 | phone --connect serial:x@9600 | --connect ; 'serial:x@9600'
2 | phone --connect h:1 --unix p | --connect ; --unix
2 | phone --connect h:1 --port-file p | --connect ; --port-file
2 | phone --serial /dev/x:fast | --serial ; PATH:BAUD
2 | phone --serial "" | --serial ; PATH
1 | phone --serial /dev/null | cannot open serial line /dev/null
2 | phone --most-units 0 | --most-units ; 1 to 64
2 | phone --handshake-limit 3601 | --handshake-limit ; 3600
2 | phone --ping-limit soon | --ping-limit ; 3600
2 | phone --clock 24:00:00 | --clock ; 23:59:59
2 | phone --clock 10:00 | --clock ; HH:MM:SS
2 | phone --fps 0 | --fps ; 1 to 240
2 | phone --softkeys 256 | --softkeys ; 255
2 | phone --seed -1 | --seed ; 4294967295
2 | phone --render-percent 101 | --render-percent ; 100
2 | phone --drop-after-frames 2.5 | --drop-after-frames ; whole number
2 | phone --cut-at 4294967296 | --cut-at ; 0 to 4294967295
2 | phone --fragment 0 | --fragment ; 1 to 65536
2 | phone --damage 101 | --damage ; 1 to 100
2 | phone --max-seconds soon | --max-seconds ; 1000000
2 | phone --size 640 | --size ; WIDTHxHEIGHT
2 | phone --dump-frames /proc/none | --dump-frames ; /proc/none
2 | phone --dump-frames "" | --dump-frames ; a DIR with a name
2 | phone --app-name "$(printf %065536d 0)" | --app-name ; 65535
2 | phone --loud | --loud ; quarlo-phone --help
2 | phone extra | extra ; --help

2 | headunit | --connect ; --unix
2 | headunit --unix "" | --unix ; a PATH with a name
2 | headunit --connect h:1 --unix p | --connect ; --unix
2 | headunit --connect h:1 --listen h:0 | --connect ; --listen
2 | headunit --listen h:65536 | --listen ; unix:PATH
2 | headunit --listen unix: | --listen ; unix:PATH
2 | headunit --connect h:1 --port-file f | --port-file ; --listen
2 | headunit --connect host | --connect ; 'host' ; HOST:PORT
2 | headunit --connect h:1 --capture %D/no/where | cannot open %D/no/where: No such file or directory
2 | replay /nowhere | /nowhere: No such file or directory
2 | headunit --connect :80 | --connect ; HOST:PORT
2 | headunit --connect h:0 | --connect ; 1 to 65535
2 | headunit --connect h:65536 | --connect ; 1 to 65535
2 | headunit --connect unix: | --connect ; unix:PATH
2 | headunit --connect /dev/ttyS0 | --connect ; /dev/NAME@BAUD
2 | headunit --connect serial:x@fast | --connect ; serial:PATH@BAUD
2 | headunit --connect serial:@9600 | --connect ; serial:PATH@BAUD
2 | headunit --connect h:1 --reconnect 0 | --reconnect
2 | headunit --connect h:1 --reconnect soon | --reconnect ; soon
2 | headunit --connect h:1 --size 0x10 | --size ; 1 to 8192
2 | headunit --connect h:1 --size 8193x10 | --size ; 1 to 8192
2 | headunit --connect h:1 --size 4294967297x10 | --size ; 1 to 8192
2 | headunit --connect h:1 --size 10x10x10 | --size ; WIDTHxHEIGHT
2 | headunit --connect h:1 --format rgb | --format ; 'rgb' ; rgb565 ; rgba8888
2 | headunit --connect h:1 --endian middle | --endian ; little, big
2 | headunit --connect h:1 --compression all | --compression ; zlib, jpeg
2 | headunit --connect h:1 --supported raw, | --supported ; raw,
2 | headunit --connect h:1 --supported none,raw | --supported ; none,raw
2 | headunit --connect h:1 --trace 64 | --trace ; 63
2 | headunit --connect h:1 --language EN | --language ; three
2 | headunit --connect h:1 --watchdog 256 | --watchdog ; 256 ; 255
2 | headunit --connect h:1 --init-timeout -1 | --init-timeout
2 | headunit --connect h:1 --frames 0 | --frames ; 1
2 | headunit --connect h:1 --seconds soon | --seconds ; soon
2 | headunit --connect h:1 --every 2 | --every ; --output
2 | headunit --connect h:1 --at size=1x1 | --at ; UPDATE:CHANGE
2 | headunit --connect h:1 --at x:resume | --at ; 'x:resume'
2 | headunit --connect h:1 --at 1:explode | --at ; suspend
2 | headunit --connect h:1 --at 1:size=0x0 | --at ; '1:size=0x0'
2 | headunit --connect h:1 --output /proc/none/x | --output ; /proc/none/x
2 | headunit --connect h:1 --dump /proc/none | --dump ; /proc/none
2 | headunit --connect h:1 --store %D/letter | --store ; '%D/letter' is no store
2 | headunit --connect h:1 --store %D/almost | --store ; '%D/almost' is no store
2 | headunit --connect h:1 --store %D/without-mark | --store ; '%D/without-mark' is no store
2 | headunit --connect h:1 --store /dev/null | --store ; '/dev/null' is no store
2 | headunit --connect h:1 --store %D | --store ; '%D' is no store
2 | headunit --connect h:1 --colour | --colour

0 | phone --rules | wire.framing
2 | phone --check --once | --once
2 | phone --check --window | --window
2 | phone --check --refuse init | --refuse
2 | phone --check --serial /dev/null | --serial
2 | phone --check --port 65536 | --port ; 65535
2 | phone --check --port 1 --unix x | --port ; --unix
2 | phone --port 1 | --check
2 | phone --report x | --check

2 | info --colour | --colour ; quarlo-info --help
2 | soak --seconds 0 | --seconds
2 | soak --instances 65 | --instances
TABLE

[ "$(<letter) $(<almost)" = "no store at all, but a letter quarlo store" ] || problem headunit "changed a file"
[ "$(wc -c <without-mark)" -eq 4 ] || problem headunit "changed a file"
echo "options: $lines lines checked, $problems problems"
[ "$problems" -eq 0 ]
