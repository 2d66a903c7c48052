#!/usr/bin/env bash
# Throughput of an ocarrange batch: N scenes of 640 x 480 pixels, each a 16-character line
# with 11 distinct keys (DejaVu Sans Mono, 28 px per em, blur 0.7, noise sigma 4) at a random
# place and angle, arranged by `ocarrange --batch` with 1 and with 2 worker threads. Prints,
# per job count, the images per second of each run, their median and the peak resident
# memory (maximum over the runs, from GNU time).
#
#   bench/ocarrange_batch.sh BINDIR [N=200] [RUNS=3]
#
# BINDIR holds ocsynth and ocarrange (for example build/bench/bin). Scenes are written to a
# temporary folder that is removed at the end.
set -euo pipefail
bin=${1:?usage: bench/ocarrange_batch.sh BINDIR [N] [RUNS]}
n=${2:-200}
runs=${3:-3}
text="QX7K2R9MAQ4TQXK2"
[ -x /usr/bin/time ] || { echo "needs GNU time (/usr/bin/time, Debian package time)" >&2; exit 2; }
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# Scenes: seeded placement so that the line stays inside the image at any angle.
for ((i = 0; i < n; ++i)); do
  angle=$(( (i * 137) % 360 - 180 ))
  read -r x y < <(awk -v a="$angle" 'BEGIN { r = a * 3.14159265 / 180;
    printf "%.1f %.1f\n", 320 - 145 * cos(r), 240 - 145 * sin(r) }')
  "$bin/ocsynth" scene --font=DejaVuSansMono.ttf --size=28 --text="$text" --seed=$((i + 1)) \
    --x="$x" --y="$y" --angle="$angle" --blur=0.7 --noise=4 --jitter-pos=0.3 \
    --jitter-angle=1 --out="$dir/scene_$(printf %03d "$i").png" --truth="$dir/truth_$i.json" \
    >/dev/null
done
rm -f "$dir"/truth_*.json

for jobs in 1 2; do
  rates=()
  peak=0
  for ((r = 0; r < runs; ++r)); do
    /usr/bin/time -f "%e %M" -o "$dir/time.txt" "$bin/ocarrange" --batch "$dir" \
      --font DejaVuSansMono.ttf --size 28 --target "$text" --jobs "$jobs" --quiet \
      --json "$dir/out.jsonl" >/dev/null 2>"$dir/err.txt" || true
    read -r secs kb <"$dir/time.txt"
    lines=$(wc -l <"$dir/out.jsonl")
    [ "$lines" -eq "$n" ] || { echo "expected $n JSON lines, got $lines" >&2; cat "$dir/err.txt" >&2; exit 1; }
    rates+=("$(awk -v n="$n" -v s="$secs" 'BEGIN { printf "%.1f", n / s }')")
    [ "$kb" -gt "$peak" ] && peak=$kb
  done
  median=$(printf '%s\n' "${rates[@]}" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }')
  matched=$(grep -c '"all_matched":true' "$dir/out.jsonl" || true)
  echo "jobs $jobs: images/s ${rates[*]} (median $median), peak RSS $((peak / 1024)) MB," \
       "$matched of $n images all matched"
done
