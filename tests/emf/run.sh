#!/usr/bin/env bash
# Has EMF judge round trips: every real model goes through `kr0 convert` to the binary format and back,
# and EMF compares what it loads from the two XMI files. Imperfect documents are read by EMF and by
# `kr0 --keep-going`, or --follow, and EMF shows that the same comes of them.
#
#   tests/emf/run.sh [KR0]         KR0: the tool, build/release/apps/kr0/kr0 unless given
#   tests/emf/run.sh --self-check  only checks that the comparison finds what it should find
#
# Needs a JDK and EMF (Debian: default-jdk-headless libeclipse-emf-common-java
# libeclipse-emf-ecore-java libeclipse-emf-ecore-xmi-java) and xz. What is missing is skipped, visibly.
# Environment: KR0_MODELS, the folder of models; KR0_JARS, the folder of EMF's jars.
set -uo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
tool=${1:-$root/build/release/apps/kr0/kr0}
models=${KR0_MODELS:-$root/../shared/models}
jars=${KR0_JARS:-/usr/share/java}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
class_path=$work:$jars/eclipse-emf-common.jar:$jars/eclipse-emf-ecore.jar:$jars/eclipse-emf-ecore-xmi.jar

passed=0 failed=0 skipped=0
ok() { printf 'ok         %s\n' "$*"; passed=$((passed + 1)); }
different() { printf 'DIFFERENT  %s\n' "$*"; failed=$((failed + 1)); }
skip() { printf 'skipped    %s\n' "$*"; skipped=$((skipped + 1)); }

finish() {
  echo "$passed passed, $failed failed, $skipped skipped"
  [ "$failed" -eq 0 ]
  exit
}

compare() { java -Xmx4g -cp "$class_path" Compare "$@"; }

# expect_code <code> <name> <sed expression that changes the sample>
expect_code() {
  local said code
  sed "$3" "$here/sample.xmi" > "$work/changed.xmi"
  said=$(compare -m "$here/sample.ecore" "$here/sample.xmi" "$work/changed.xmi")
  code=$?
  if [ "$code" -eq "$1" ]; then ok "self-check: $2 ($said)"; else different "self-check: $2: exit code $code: $said"; fi
}

# A comparison that finds nothing proves something only if it can find something.
self_check() {
  expect_code 0 'identical documents are equal' ''
  expect_code 0 'layout is not content' 's/ title=/\n    title=/'
  expect_code 1 'an attribute changed' 's/Lost/lost/'
  expect_code 1 'an attribute gone' 's/ title="Lost"//'
  expect_code 1 'values in another order' 's/1951 1967/1967 1951/'
  expect_code 1 'elements in another order' '4{h;d};5G'
  expect_code 1 'an element gone' '4d;s/sequel="b"//'
  expect_code 1 'a reference to another element' 's/sequel="b"/sequel="c"/'
  expect_code 1 'a reference to another document' 's/#d/#e/'
  expect_code 1 'an xmi:id gone' 's/ xmi:id="s"//'
  expect_code 2 'a document that is not XML' '2d'
}

# one_way <from> <to> <meta model>: converts, and shows what the tool said if it failed.
one_way() {
  "$tool" convert "$1" "$2" -m "$3" > "$work/said" 2>&1 && return
  different "$name: kr0 convert to ${2##*.}: exit code $?: $(tail -n 1 "$work/said")"
  return 1
}

# round_trip <model> <meta model>, both relative to the folder of models
round_trip() {
  local name=$1 original=$models/$1 meta=$models/$2 said
  if [ ! -f "$original" ] || [ ! -f "$meta" ]; then skip "$name: not in the folder of models"; return; fi
  if [ "${name%.xz}" != "$name" ]; then
    xz -dc "$original" > "$work/unpacked.xmi" || { skip "$name: cannot unpack"; return; }
    original=$work/unpacked.xmi
  fi
  rm -f "$work/model.krb" "$work/back.xmi"
  one_way "$original" "$work/model.krb" "$meta" || return
  one_way "$work/model.krb" "$work/back.xmi" "$meta" || return
  if said=$(compare -m "$meta" "$original" "$work/back.xmi"); then ok "$name: $said"; else different "$name: $said"; fi
}

all_round_trips() {
  local ecore model meta
  for ecore in "$models"/*/*.ecore; do
    round_trip "${ecore#"$models"/}" ecore/Ecore.ecore
  done
  while read -r model meta; do
    round_trip "$model" "$meta"
  done <<'PAIRS'
archimate/Archisurance.archimate archimate/archimate.ecore
jdtast/set0.xmi.xz               jdtast/JDTAST.ecore
modisco/Bug_318638.kdm           modisco/kdm.ecore
modisco/completeModel.javaxmi    modisco/java.ecore
modisco/test001_java.xmi         modisco/java.ecore
modisco/test001_kdm.xmi          modisco/kdm.ecore
neoemf/sampleStandard.xmi        neoemf/Java.ecore
neoemf/sampleWithId.xmi          neoemf/Java.ecore
railway/railway-repair-1.xmi     railway/railway.ecore
railway/railway-repair-8.xmi     railway/railway.ecore
railway/railway-repair-64.xmi.xz railway/railway.ecore
railway/railway-ttc-1.xmi        railway/railway-ttc.ecore
social/initial-1.xmi             social/social_network.ecore
social/initial-4.xmi             social/social_network.ecore
social/initial-16.xmi            social/social_network.ecore
PAIRS
}

# same_as_emf <name> <attributes of the root> <children of the root> [options]: what EMF makes of a document is what it
# makes of the one that kr0 read and wrote.
same_as_emf() {
  local name="imperfect: $1" code
  printf '<p:Node xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:p="urn:p" %s %s>%s</p:Node>\n' \
    'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"' "$2" "$3" > "$work/imperfect.xmi"
  "$tool" convert "$work/imperfect.xmi" "$work/read.xmi" -m "$here/imperfect.ecore" "${4:---keep-going}" \
    > "$work/said" 2>&1
  code=$?
  java -cp "$class_path" Show "$here/imperfect.ecore" "$work/imperfect.xmi" > "$work/by_emf"
  java -cp "$class_path" Show "$here/imperfect.ecore" "$work/read.xmi" > "$work/by_kr0"
  if [ "$code" -ne "${5:-3}" ]; then
    different "$name: exit code $code: $(cat "$work/said")"
  elif ! diff "$work/by_emf" "$work/by_kr0" > "$work/said"; then
    different "$name: $(cat "$work/said")"
  else
    ok "$name"
  fi
}

imperfect_documents() {
  same_as_emf 'two elements with one xmi:id' 'name="r" next="k"' \
    '<nodes name="a" xmi:id="k"/><nodes name="m" next="k"/><nodes name="b" xmi:id="k" next="k"/><nodes name="z" next="k"/>'
  same_as_emf 'two elements with one identifying value' 'name="r" next="k"' \
    '<nodes name="a" key="k"/><nodes name="m" next="k"/><nodes name="b" key="k" next="k"/>'
  same_as_emf 'an xmi:id that is an identifying value' 'name="r" next="k"' \
    '<nodes name="a" key="k"/><nodes name="b" xmi:id="k"/>'
  same_as_emf 'single values given twice' 'name="r" next="/ //@nodes.0"' \
    '<name>s</name><node name="a"/><nodes name="n"/><node name="b"/>'
  same_as_emf 'more values than the upper bound' 'name="r"' '<two name="a"/><two name="b"/><two name="c"/>' --keep-going 0
  same_as_emf 'text between elements' 'name="r"' 'stray<nodes name="a"/>'
  same_as_emf 'an unknown attribute' 'name="r" wheels="4"' '<nodes name="a"/>'
  same_as_emf 'an unknown element' 'name="r"' '<wheels xsi:type="p:Node"><nodes name="x"/></wheels><nodes name="a"/>'
  same_as_emf 'an unknown class' 'name="r"' '<nodes xsi:type="p:Wheel"><nodes name="x"/></nodes><nodes name="a"/>'
  same_as_emf 'an unknown package' 'name="r" xmlns:q="urn:q"' '<nodes xsi:type="q:Wheel"/><nodes name="a"/>'
  same_as_emf 'values that are none' 'name="r" count="x" color="blue"' \
    '<numbers>1</numbers><numbers>y</numbers><numbers>3</numbers>'
  printf '<p:Node xmlns:p="urn:p" name="other"><nodes name="o"><next href="imperfect.xmi#/"/></nodes></p:Node>\n' \
    > "$work/other.xmi"
  same_as_emf 'children in another document' 'name="r" next="//@nodes.1"' \
    '<nodes name="a"/><nodes href="other.xmi#/"/><nodes name="b"><next href="other.xmi#//@nodes.0"/></nodes>' --follow 0
}

if ! command -v javac > /dev/null || ! command -v java > /dev/null; then
  skip 'everything: there is no JDK (javac) on this machine'
  finish
fi
for jar in common ecore ecore-xmi; do
  if [ ! -f "$jars/eclipse-emf-$jar.jar" ]; then skip "everything: $jars/eclipse-emf-$jar.jar is missing"; finish; fi
done
javac -Xlint:all -cp "$class_path" -d "$work" "$here/Compare.java" "$here/Show.java" ||
  { different 'Compare.java or Show.java does not compile'; finish; }

self_check
[ "$tool" = --self-check ] && finish
if [ ! -x "$tool" ]; then different "all round trips: there is no tool $tool"; finish; fi
imperfect_documents
if [ ! -d "$models" ]; then skip "all round trips: there is no folder $models"; finish; fi
all_round_trips
finish
