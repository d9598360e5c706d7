# Draws plot.data (see plot.jq) as results.svg and results.png.
set datafile separator "\t"
set bars 0.6
set border 3
set tics nomirror
array colours[5] = [0x1f5fa8, 0xb0582f, 0x2f7d4a, 0x7a4ab0, 0x606060]
stats "plot.data" using 1 nooutput
grows = STATS_blocks > 2 # then a third panel stands below the other two
height = grows ? 700 : 400
below = grows ? 0.52 : 0.15

place(left, right, bottom, top) = sprintf("set lmargin at screen %.3f; set rmargin at screen %.3f; " \
    . "set bmargin at screen %.3f; set tmargin at screen %.3f; ", left, right, bottom, top)
ratios(block) = sprintf("plot 'plot.data' index %d using 2:1:3:4:(colours[int(column(6)) + 1]):ytic(5) " \
    . "with xerrorbars pointtype 7 pointsize 0.8 linewidth 1.2 linecolor rgb variable; ", block)

draw = "unset key; unset logscale; set xtics auto; set yrange [*:*]; set offsets 0, 0, 0.5, 0.5; unset ylabel; " \
    . "set multiplot; " . place(0.23, 0.49, below, 0.93) \
    . "set title 'The library beside the least code'; " \
    . "set xrange [0.8:1.2]; set xlabel 'time, library / floor'; " \
    . "set arrow 1 from 1, graph 0 to 1, graph 1 nohead linecolor '#888888'; " \
    . "set arrow 2 from 1.05, graph 0 to 1.05, graph 1 nohead dashtype 2 linecolor '#bbbbbb'; " \
    . ratios(0) . "unset arrow 2; " . place(0.71, 0.97, below, 0.93) \
    . "set title 'Alternatives beside the library'; " \
    . "set logscale x; set xrange [0.005:2]; set xlabel 'time, alternative / library'; " . ratios(1)
growth = "unset arrow 1; set offsets; set ytics autofreq; " . place(0.23, 0.97, 0.1, 0.37) \
    . "set title 'Time of an entry, by that at 100 entries'; " \
    . "set xrange [100:100000]; set yrange [0:2]; set xlabel 'entries'; set key bottom left horizontal; " \
    . "plot for [i=2:STATS_blocks-1] 'plot.data' index i using 1:2 with linespoints pointtype 7 pointsize 0.7 " \
    . "linecolor rgb colours[(i - 2) % 5 + 1] " \
    . "title columnheader(1); "
all = draw . (grows ? growth : "") . "unset multiplot"

set terminal svg size 1100, height font "sans-serif,12" background "white"
set output "results.svg"
eval all
set terminal pngcairo size 1650, 1.5 * height font "sans-serif,12" fontscale 1.3
set output "results.png"
eval all
