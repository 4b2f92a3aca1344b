#!/usr/bin/env bash
# Installs what is missing, builds the Release preset and runs the demonstration: the text
# source in its three widths, the XML reader echoing and counting documents, and a document
# loaded, queried, changed and written through the element API, and JSON read as events,
# loaded into a tree, changed and written formatted; objects written and read back; and a
# purchase order built and read through data-binding classes; last, the command-line program vnxml
# on the bundled files.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release
cmake --build --preset release --target vnxml_demo sax_echo sax_count dom_demo json_demo serialize_demo binding_demo \
  vnxml_cli
echo "== The text source in three widths =="
./build/release/examples/vnxml_demo examples/data
echo
echo "== SAX events of a small catalogue =="
./build/release/examples/sax_echo examples/data/catalog.xml
echo
echo "== Counting elements with a few lines of handler =="
files=(examples/data/catalog.xml)
[ -f /usr/share/mime/packages/freedesktop.org.xml ] && files+=(/usr/share/mime/packages/freedesktop.org.xml)
./build/release/examples/sax_count "${files[@]}"
echo
echo "== A document through the element API =="
./build/release/examples/dom_demo examples/data/library.xml
echo
echo "== JSON: events, a tree, a change, formatted output =="
./build/release/examples/json_demo examples/data/store.json
if [ -f ../shared/data/json/twitter.json ]; then
  echo
  echo "== JSON: a Twitter API response =="
  ./build/release/examples/json_demo ../shared/data/json/twitter.json
fi
echo
echo "== Objects of the application written as JSON and XML =="
./build/release/examples/serialize_demo
echo
echo "== Data binding: a purchase order through schema-bound classes =="
./build/release/examples/binding_demo
echo
echo "== The command line: vnxml =="
vnxml=./build/release/tools/vnxml
run() {
  # The command as one would type it: words with characters the shell reads in single quotes.
  local line="\$ vnxml" word
  for word in "$@"; do
    if [[ $word =~ ^[A-Za-z0-9_./-]+$ ]]; then line+=" $word"; else line+=" '$word'"; fi
  done
  echo "$line"
  "$vnxml" "$@"
}
run select examples/data/library.xml '//book[@year > 1900]/@id'
run jpath examples/data/store.json '$.books[?(@.price < 20)].title'
run tojson --compact examples/data/catalog.xml
run events tests/cli/data/shop.xml
run check examples/data/catalog.xml examples/data/store.json tests/cli/data/bad.xml || echo "(exit status $?: a document error)"
