# Turns the comments of kmhash.h into those that Doxygen reads: each declaration gets the one above it, also where several
# share one, and what is set in columns stays as it is set.

function show(line) { comment = comment line "\n" }

# A line of a comment, without its star.
function showWords(words,    indent) {
  match(words, /^ */)
  indent = RLENGTH
  if (words ~ /^[0-9]+\. /) base = 3
  isSet = length(words) > 0 && indent >= base + 2
  if (isSet && !wasSet) show("@verbatim")
  if (!isSet && wasSet) show("@endverbatim")
  wasSet = isSet
  show(words)
}

function openComment(words) {
  comment = ""
  base = 0
  wasSet = 0
  show("/**")
  if (!opened++) show("@mainpage")
  showWords(words)
}

function closeComment() {
  if (wasSet) show("@endverbatim")
  show("*/")
  inside = 0
  if (opened == 1) comment = comment "/** @file\nThe whole interface. */\n"
  if (opened == 1) flush()
}

function flush() {
  printf "%s", comment
  used = 1
}

/^\/\* ----/ || /^#define KMHASH_API/ { next }

!inside && /^ *\/\*/ {
  line = $0
  sub(/^ *\/\* ?/, "", line)
  closes = sub(/ *\*\/$/, "", line)
  openComment(line)
  used = 0
  if (closes) closeComment()
  else inside = 1
  next
}

inside {
  line = $0
  closes = sub(/ *\*\/$/, "", line)
  sub(/^ *\* ?/, "", line)
  showWords(line)
  if (closes) closeComment()
  next
}

/^$/ { comment = "" }

comment != "" && (!used || /^(KMHASH_API|extern)/) { flush() }

{
  sub(/\/\* /, "/**< ")
  print
}
