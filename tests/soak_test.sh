#!/bin/bash
# soak_test.sh PROGRAM FAULT: runs quarlo-soak for a moment; a fault that it is told to make is found.
set -u
program=$1
fault=$2

# expect STATUS TEXT OPTION...: the program ends so and says so.
expect() {
  local status=$1 text=$2
  shift 2
  local output actual
  output=$("$program" "$@" 2>&1)
  actual=$?
  echo "$output"
  if [ "$actual" != "$status" ]; then
    echo "exit status $actual instead of $status"
    exit 1
  fi
  if ! grep -q -- "$text" <<<"$output"; then
    echo "nothing says '$text'"
    exit 1
  fi
}

short=(--seconds 5 --instances 2 --report 1)
# Until it is found.
long=(--seconds 60 --instances 2 --report 1 --fault "$fault")
case $fault in
  none) expect 0 'nothing lost, drawn wrongly or left behind' "${short[@]}" ;;
  lost) expect 1 'a message of the phone is lost' "${long[@]}" ;;
  unsent) expect 1 'a message of the head unit is lost' "${long[@]}" ;;
  pixel) expect 1 'wrong pixels' "${long[@]}" ;;
  memory) expect 1 'allocated bytes have grown' "${long[@]}" ;;
  descriptor) expect 1 'descriptors have grown' "${long[@]}" ;;
  thread) expect 1 'threads have grown' "${long[@]}" ;;
esac
