# gnuplot -c picture.gnuplot DIRECTORY PICTURE: draws what bench_report --plots wrote to the directory as SVG: three plots,
# one below the other, with a ground of their own, so that they can be read on light and dark pages.

directory = ARG1
set terminal svg size 900,1020 dynamic font "sans-serif,12" background "#ffffff"
set output ARG2

# Ours first.
array colours[4] = ["#0b5fcc", "#c2570c", "#1a7f4b", "#7a3fc4"]

set border 3 linecolor "#24292f"
set grid linetype 1 linecolor "#d0d7de"
set tics nomirror
set logscale xy
set encoding utf8
set micro
set format y "%.0s %cs"
set ylabel "time"
set key at screen 0.63, graph 1 left top reverse Left noenhanced
set lmargin 12
set rmargin 48

# Each line of a plot is a block of the file. A way has one colour, and a variant of the work one kind of line.
way(block) = block / variants
variant(block) = block % variants
draw = 'set xrange [*:*]; stats file using 1:2 nooutput name "LINES"; \
  set xrange [LINES_min_x / 1.3 : LINES_max_x * 1.3]; \
  plot for [block = 0 : LINES_blocks - 1] file index block using 1:2:xtic(1) title columnheader(1) with linespoints \
    pointtype 7 pointsize 0.5 linewidth way(block) ? 1.8 : 3 \
    linecolor rgb colours[way(block) + 1] dashtype variant(block) ? 2 : 1'

set multiplot layout 3,1

set title "Longest stall of a live writer during a snapshot" font ",16"
set xlabel "file systems"
file = directory . "/frozen_window.dat"
variants = 2
@draw

set title "Mount-table look-up of the last entry"
set xlabel "mounts"
file = directory . "/look_up.dat"
@draw

set title "Start of a program and its output"
set xlabel "memory of the host (MB)"
file = directory . "/start.dat"
variants = 1
@draw

unset multiplot
