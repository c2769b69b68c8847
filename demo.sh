#!/usr/bin/env bash
# Installs what is missing, builds, and does the main job: records a short programme of bars, tone, running timecode,
# captions, teletext subtitles and a cue into a movie and an MXF file at once, reads both back and says where they are. Safe to run again.
set -euo pipefail
cd "$(dirname "$0")"

scripts/packages.sh build
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DZENQUOR_BUILD_TESTS=OFF >/dev/null
cmake --build build --target zenquor_command
zenquor=build/tools/zenquor
mkdir -p out
rm -f out/demo.mov out/demo.mxf out/demo.mp4

cat > out/demo.srt <<'SRT'
1
00:00:01,000 --> 00:00:03,000
Zenquor records this line
as closed captions.

2
00:00:03,500 --> 00:00:05,500
Colour bars, a tone on every channel,

3
00:00:06,000 --> 00:00:08,000
timecode from 10:00:00:00.
SRT

echo "== record ten seconds of XDCAM HD422 into out/demo.mov and out/demo.mxf, with captions, teletext subtitles and a cue"
"$zenquor" record --bars --format 1080i50 --codec xd5c --audio-channels 4 --audio-bits 24 --duration 10 \
  --start-timecode 10:00:00:00 --reel DEMO --captions out/demo.srt --teletext out/demo.srt \
  --cue 10:00:02:00:splice-start,event=1,preroll=4000,duration=30 out/demo.mov out/demo.mxf
echo
echo "== what they hold"
"$zenquor" inspect out/demo.mov
"$zenquor" inspect out/demo.mxf
echo
echo "== the captions of the movie's first two seconds, control codes and characters"
"$zenquor" anc --frames 0-50 out/demo.mov | grep -v 'field 1 CEA608 channel 0 0000 NULL  field 2' || true
echo
echo "== the cue and what a viewer reads in the MXF file, as captions (CC1) and as teletext"
"$zenquor" anc out/demo.mxf | grep -e SCTE-104 -e '" *$'
"$zenquor" captions out/demo.mxf out/demo-from-mxf.srt
"$zenquor" captions out/demo.mxf out/teletext-from-mxf.srt --output op47
cat out/teletext-from-mxf.srt
echo
echo "== the same programme as H.264, for a browser"
"$zenquor" record --bars --format 1080p25 --codec avc1 --duration 5 --captions out/demo.srt out/demo.mp4
echo
echo "== the same subtitles as Scenarist and MacCaption files, and read back as a viewer sees them"
"$zenquor" captions out/demo.srt out/demo.scc
"$zenquor" captions out/demo.srt out/demo.mcc
"$zenquor" captions out/demo.scc out/demo-from-scc.srt
"$zenquor" captions --check out/demo.scc
head -8 out/demo.scc
cat out/demo-from-scc.srt
echo
echo "The recordings are out/demo.mov, out/demo.mxf and out/demo.mp4; any player or editor opens them."
