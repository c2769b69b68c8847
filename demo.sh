#!/usr/bin/env bash
# Installs what is missing, builds, and does the main job: records a short programme of bars, tone, running timecode and
# captions from a subtitle file into a movie, reads it back and says where it is. Safe to run again.
set -euo pipefail
cd "$(dirname "$0")"

scripts/packages.sh build
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DZENQUOR_BUILD_TESTS=OFF >/dev/null
cmake --build build --target zenquor_command
zenquor=build/tools/zenquor
mkdir -p out
rm -f out/demo.mov out/demo.mp4 out/cues.mov

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

echo "== record ten seconds into out/demo.mov and out/demo.mp4"
"$zenquor" record --bars --format 1080p25 --codec avc1 --duration 10 --start-timecode 10:00:00:00 --reel DEMO \
  --captions out/demo.srt out/demo.mov out/demo.mp4
echo
echo "== what they hold"
"$zenquor" inspect out/demo.mov
"$zenquor" inspect out/demo.mp4
echo
echo "== the captions of the first three seconds, control codes and characters"
"$zenquor" anc --frames 0-75 out/demo.mov | grep -v 'field 1 CEA608 channel 0 0000 NULL  field 2' || true
echo
echo "== the same subtitles as Scenarist and MacCaption files, and read back as a viewer sees them"
"$zenquor" captions out/demo.srt out/demo.scc
"$zenquor" captions out/demo.srt out/demo.mcc
"$zenquor" captions out/demo.scc out/demo-from-scc.srt
"$zenquor" captions --check out/demo.scc
head -8 out/demo.scc
cat out/demo-from-scc.srt
echo "== a cue message and teletext subtitles on the frames, collected beside the movie"
"$zenquor" record --bars --format 720p25 --codec apco --duration 5 --start-timecode 10:00:00:00 --captions out/demo.srt \
  --caption-output op47 --cue 10:00:02:00:splice-start,event=1,preroll=4000,duration=30 --write-anc out/cues.mcc out/cues.mov
"$zenquor" anc out/cues.mcc | grep -v filler | head -12
"$zenquor" anc out/cues.mcc | grep -e SCTE-104 -e '" *$'

echo
echo "The recordings are out/demo.mov and out/demo.mp4; any player opens them."
