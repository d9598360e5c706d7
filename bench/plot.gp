# Draws plot.data (see plot.jq) as results.svg and results.png.
set datafile separator "\t"
set pointsize 0.9
set bars 0.6
set border 3
set offsets 0, 0, 0.5, 0.5
set tics nomirror
unset key
array colours[3] = [0x1f5fa8, 0xb0582f, 0x2f7d4a]
plotRows = " using 2:1:3:4:(colours[int(column(6)) + 1]):ytic(5) with xerrorbars pointtype 7 linewidth 1.2 linecolor rgb variable"

draw = "set multiplot layout 1,2; " \
    . "set title 'The library beside the least code'; " \
    . "set lmargin 28; unset logscale; set xrange [0.8:1.2]; set xlabel 'time, library / floor (median, quartiles)'; " \
    . "set arrow 1 from 1, graph 0 to 1, graph 1 nohead linecolor '#888888'; " \
    . "set arrow 2 from 1.05, graph 0 to 1.05, graph 1 nohead dashtype 2 linecolor '#bbbbbb'; " \
    . "plot 'plot.data' index 0" . plotRows . "; unset arrow 2; " \
    . "set title 'Alternatives beside the library'; " \
    . "set logscale x; set xrange [0.005:2]; set xlabel 'time, alternative / library (median, quartiles)'; " \
    . "plot 'plot.data' index 1" . plotRows . "; unset multiplot"

set terminal svg size 1200,420 font "sans-serif,12" background "white"
set output "results.svg"
eval draw
set terminal pngcairo size 1800,630 font "sans-serif,12" fontscale 1.3
set output "results.png"
eval draw
