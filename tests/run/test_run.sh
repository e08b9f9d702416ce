#!/usr/bin/env bash
# `./run` around programs that are built already: its last lines and its exit status.
. "$(dirname "$0")/common.sh"
mkdir -p tree/cmake tree/build tools here
cp "$here/../../run" tree/ && cp "$here/../../cmake/packages.sh" tree/cmake/
: > tree/build/build.ninja
ln -s "$build"/{kestrel,ks2,pcidb.txt} tree/build/
printf '#!/bin/sh\necho install ok installed\n' > tools/dpkg-query
printf '#!/bin/sh\necho "$@" >> %q\n' "$scratch/built" > tools/cmake
chmod +x tools/*
PATH=$scratch/tools:$PATH
cd here || exit 1

../tree/run -batch -level 1 -filename 'a b' > out 2> err || die "$(cat err)"
holds ../built "--target kestrel ks2"
expect "To look at it: $scratch/tree/build/ks2 html a\\ b.KS2" "$(tail -n 1 err)" "the last line"
lacks out "ks2"
bash -c "$(tail -n 1 err | sed 's/^[^:]*: //')" > out || die "what the last line says"
expect "a b.html" "$(cat out)" "the page"
(cd ../tree && ./run -batch -local -level 1 -filename loose > out 2> err)
expect "To look at it: build/ks2 html loose.XML" "$(tail -n 1 ../tree/err)" "a loose report, from the root"
printf x > note
../tree/run -batch -binaryfile note -filename stored 2> err
expect "What is in it: $scratch/tree/build/ks2 list stored.KS2" "$(tail -n 1 err)" "no report"
../tree/run -help > out 2> err
expect 1 $? "the program's status"
lacks err "ks2"
../tree/run -listprobes > out 2> err
expect 0 $? "status without a file"
lacks err "ks2 html"
