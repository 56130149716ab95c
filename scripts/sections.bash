# Runs the steps of a script one after another, and prints a summary with result and time of each step.
# Bash scripts source it and call `section` for each step and `finish` at the end.

summary=()
failed=0

# section TITLE COMMAND...: prints the title, runs the command, stores its result and time. Returns 1 if the command
# failed.
section() {
  local title=$1 started=$SECONDS result=passed
  shift
  printf '\n==== %s: %s\n' "$title" "$*"
  "$@" || { result=FAILED; failed=1; }
  summary+=("$(printf '%-20s %-7s %4d s' "$title" "$result" $((SECONDS - started)))")
  [ "$result" = passed ]
}

# Prints the summary, and exits with 1 if any section failed.
finish() {
  printf '\n==== summary of %s\n' "$0"
  printf '%s\n' "${summary[@]}"
  printf '%-20s %-7s %4d s\n' total "$([ "$failed" = 0 ] && echo passed || echo FAILED)" "$SECONDS"
  exit "$failed"
}
