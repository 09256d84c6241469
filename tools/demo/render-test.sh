#!/usr/bin/env bash
# The demo's headless rendering: ./render-test.sh DEMO WORKDIR CAMERAS_SCENE SKIN_SCENE
set -u
demo=$1
work=$2
sceneFile=$3
skinScene=$4
rm -rf "$work"
mkdir -p "$work"
failed=0
fail() { echo "FAIL: $*"; failed=1; }

# Mono and stereo frames, each a PNG file of the asked size
for mode in mono stereo; do
    extra=()
    [ $mode = stereo ] && extra=(--stereo)
    out=$("$demo" --render "$work/$mode" --width 96 --height 64 --frames 2 --instances 40 "${extra[@]}" 2>&1)
    status=$?
    [ $status = 0 ] || fail "$mode: exit $status: $out"
    echo "$out" | grep -q "2 of 96x64 written" || fail "$mode: no summary: $out"
    for frame in 0001 0002; do
        file="$work/$mode/frame-$frame.png"
        [ -f "$file" ] || { fail "$mode: $file is missing"; continue; }
        # The signature, then the header's width and height (big-endian)
        head -c 8 "$file" | od -An -tx1 | tr -d ' \n' | grep -q '^89504e470d0a1a0a$' || fail "$file is not a PNG file"
        size=$(od -An -tx1 -j16 -N8 "$file" | tr -d ' \n')
        [ "$size" = 0000006000000040 ] || fail "$file has the header size $size"
    done
done

# No EGL vendor, no context: a message that says so, and exit 1
out=$(__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent/vendor.json "$demo" --render "$work/none" --frames 1 2>&1)
status=$?
[ $status = 1 ] || fail "without a context the exit status is $status"
echo "$out" | grep -q '^quillmarsh-demo: cannot render: no OpenGL 3.3 core context could be made (' || fail "without a context: $out"
[ -e "$work/none/frame-0001.png" ] && fail "without a context a frame was written"

# A packed scene file: its cameras (a perspective and an orthographic one, a pair in stereo) and
# the demo's own sun
for mode in mono stereo; do
    extra=()
    [ $mode = stereo ] && extra=(--stereo)
    out=$("$demo" --render "$work/scene-$mode" --scene "$sceneFile" --width 96 --height 64 --frames 3 "${extra[@]}" 2>&1)
    status=$?
    [ $status = 0 ] || fail "scene $mode: exit $status: $out"
    echo "$out" | grep -q "1 mesh records, 1 mesh instances" || fail "scene $mode: $out"
    echo "$out" | grep -q "1 instances drawn in 1 instanced draws" || fail "scene $mode: $out"
    echo "$out" | grep -q "^ *a sun of the demo's own" || fail "scene $mode: $out"
    [ -f "$work/scene-$mode/frame-0003.png" ] || fail "scene $mode: no third frame"
done

# A scene with neither camera nor light, but a skinned, animated mesh: framed by the demo's camera
out=$("$demo" --render "$work/skin" --scene "$skinScene" --width 64 --height 48 --frames 2 2>&1)
status=$?
[ $status = 0 ] || fail "skin scene: exit $status: $out"
echo "$out" | grep -q "^ *a camera and a sun of the demo's own" || fail "skin scene: $out"
echo "$out" | grep -q "1 instances drawn in 1 instanced draws" || fail "skin scene: $out"

# A scene file that is not there: a message and exit 1, no frame
out=$("$demo" --render "$work/missing" --scene "$work/missing.qme" 2>&1)
status=$?
[ $status = 1 ] || fail "a missing scene file exits with $status: $out"
echo "$out" | grep -q '^quillmarsh-demo: .*scene' || fail "a missing scene file: $out"
[ -e "$work/missing/frame-0001.png" ] && fail "a missing scene file wrote a frame"

# Refused arguments
out=$("$demo" --render "$work/x" --width 8 2>&1)
[ $? = 1 ] && [ "$out" = "quillmarsh-demo: --width expects a number from 16 to 8192, got 8" ] || fail "--width 8: $out"
out=$("$demo" --render 2>&1)
[ $? = 1 ] && echo "$out" | grep -q "unknown or incomplete argument --render" || fail "--render alone: $out"

[ $failed = 0 ] && echo "all render checks passed"
exit $failed
