# The input filter of the API reference (Doxyfile.in): hands Doxygen a header whose own comments
# read as documentation. The library writes plain // comments; this turns a comment block into a
# /// block when it stands directly above a declaration, at namespace level or in a class body,
# so that the purpose line above a class becomes its brief. Every other comment stays a plain
# comment: section titles parted from what follows by a blank line, comments inside function
# bodies, comments above a preprocessor line. A trailing comment after a member of a class body
# becomes ///<. The header comment of a file, above #pragma once, becomes the file's description.
# Lines keep their numbers, so Doxygen's messages point at the header as it is. Files other than
# headers pass unchanged.
#
#   awk -f doxygen-filter.awk <file>

BEGIN {
  n = 0          # lines in buf, the comment block not yet printed
  scope = "ns"   # ns: namespace level; class: a class or enum body; body: any other braces
  pending = ""   # the scope that the next opening brace at namespace level starts
  in_macro = 0   # inside a #define continued by backslashes
}

function flush(next_line,    i, k, line, convert, header) {
  if (n == 0) return
  convert = 0
  header = 0
  if (FILENAME ~ /\.h$/) {
    if (first == 1 && next_line ~ /^#[ \t]*pragma[ \t]+once/) {
      header = 1
      convert = 1
    } else if (next_line !~ /^[ \t]*$/ && next_line !~ /^[ \t]*#/ && next_line !~ /^[ \t]*}/ &&
               next_line !~ /^[ \t]*(public|protected|private)[ \t]*:/) {
      if (scope == "ns" && indent == 0) convert = 1
      if (scope == "class" && indent == 2) convert = 1
    }
  }
  for (i = 1; i <= n; i++) {
    line = buf[i]
    # A rule, or a section title inside a class ("// --- settings"), stays a plain comment.
    if (convert && line !~ /^[ \t]*\/\/[ \t]*---/) {
      k = index(line, "//")
      line = substr(line, 1, k - 1) "///" escape(substr(line, k + 2))
      # The file's own description: \file ends its last line.
      if (header && i == n) line = line " \\file"
    }
    print line
  }
  n = 0
}

# Replaces each AFrom in AText by ATo, literally.
function replace_all(text, from, to,    out, k) {
  out = ""
  while ((k = index(text, from)) > 0) {
    out = out substr(text, 1, k - 1) to
    text = substr(text, k + length(from))
  }
  return out text
}

# A < that would open an HTML tag ("<name>", "</a>") gets a backslash; "operator<<" and
# "a < b" stay as they are.
function escape_tags(text,    out, k) {
  out = ""
  while ((k = index(text, "<")) > 0) {
    out = out substr(text, 1, k - 1) (substr(text, k + 1, 1) ~ /[A-Za-z\/!?]/ ? "\\<" : "<")
    text = substr(text, k + 1)
  }
  return out text
}

# The comment's text for Doxygen: outside `code spans` a backslash, @, & and the < of a tag are
# the characters themselves, not commands or markup ("\uXXXX", "@id", "<name>").
function escape(text,    parts, count, k, out) {
  count = split(text, parts, "`")
  out = ""
  for (k = 1; k <= count; k++) {
    if (k % 2 == 1) {
      parts[k] = replace_all(parts[k], "\\", "\\\\")
      parts[k] = replace_all(parts[k], "@", "\\@")
      parts[k] = replace_all(parts[k], "&", "\\&")
      parts[k] = escape_tags(parts[k])
    }
    out = out (k > 1 ? "`" : "") parts[k]
  }
  return out
}

# Follows the braces that open at namespace level: a class, struct, union or enum body, in which
# members stand two columns in, or any other body (a function, an initializer).
function track(line,    opens, closes, t) {
  if (in_macro) {
    if (line !~ /\\$/) in_macro = 0
    return
  }
  if (line ~ /^[ \t]*#/) {
    if (line ~ /\\$/) in_macro = 1
    return
  }
  if (scope != "ns") {
    if (line ~ /^}/) scope = "ns"
    return
  }
  if (line ~ /^(template[ \t]*<.*>[ \t]*)?(class|struct|union|enum)[ \t]/)
    pending = "class"
  else if (line ~ /^(namespace|extern)[ \t]/ || line ~ /^(inline[ \t]+)?namespace[ \t{]/)
    pending = "ns"
  else if (line ~ /^[A-Za-z_]/ && line !~ /^template[ \t]*</)
    pending = "body"
  # Braces in character and string literals and in a trailing comment do not count.
  t = line
  gsub(/'(\\.|[^'\\])'/, "", t)
  gsub(/"(\\.|[^"\\])*"/, "", t)
  sub(/\/\/.*$/, "", t)
  opens = gsub(/{/, "{", t)
  closes = gsub(/}/, "}", t)
  if (opens > closes && pending != "ns") {
    scope = pending
    pending = ""
  }
}

{
  if (FILENAME !~ /\.h$/) {
    print
    next
  }
  if ($0 ~ /^[ \t]*\/\//) {
    if (n == 0) {
      first = FNR
      indent = match($0, /\/\//) - 1
    }
    buf[++n] = $0
    next
  }
  flush($0)
  line = $0
  if (scope == "class" && line ~ /^  [^ \/"]/ && line ~ /;[ \t]+\/\/ / && line !~ /"/) {
    k = index(line, "//")
    line = substr(line, 1, k - 1) "///<" escape(substr(line, k + 2))
  }
  print line
  track($0)
}

END {
  flush("")
}
