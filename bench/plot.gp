# Draws plot.data (see plot.jq), with the lines of plot.machine below, as results.svg and results.png. A range
# such as [*<0.9:1.1<*] reaches as far as the bars do, and from 0.9 to 1.1 at the least.
set datafile separator "\t"
set bars 0.6
set border 3
set tics nomirror
array colours[5] = [0x1f5fa8, 0xb0582f, 0x2f7d4a, 0x7a4ab0, 0x606060]
stats "plot.data" using 1 nooutput
grows = STATS_blocks > 2 # then a third panel stands below the second
machine = system("cat plot.machine")

place(left, right, bottom, top) = sprintf("set lmargin at screen %.3f; set rmargin at screen %.3f; " \
    . "set bmargin at screen %.3f; set tmargin at screen %.3f; ", left, right, bottom, top)
ratios(block) = sprintf("plot 'plot.data' index %d using 2:1:3:4:(colours[int(column(6)) + 1]):ytic(5) " \
    . "with xerrorbars pointtype 7 pointsize 0.5 linewidth 1.2 linecolor rgb variable; ", block)
# A line across a panel, with its name above it, on the given side.
line(number, x, style, name, side) = sprintf("set arrow %d from %f, graph 0 to %f, graph 1 nohead %s; " \
    . "set label %d '%s' at %f, graph 1 offset 0, 0.6 %s; ", number, x, x, style, number, name, x, side)
as_fast = line(1, 1, "linecolor '#606060'", "equally fast ", "right")

least_code = "unset key; unset logscale; set yrange [*:*]; set offsets 0, 0, 0.5, 0.5; unset ylabel; " \
    . "set title 'The library, compared with the least code that does the same' offset 0, 1; " \
    . "set xrange [*<0.9:1.1<*]; set format x '%.2f'; set xtics 0.05; " \
    . "set xlabel 'time of the library / time of the least code'; " \
    . "set label 3 machine at screen 0.5, 0.05 center; " \
    . as_fast . line(2, 1.05, "dashtype 2 linecolor '#b03030'", " 1.05: 5 % slower", "left") \
    . ratios(0) . "unset arrow; unset label; "
others = "set title 'Other ways to do the same, compared with the library' offset -5, 1; " \
    . "set logscale x; set xrange [*<0.01:1.5<*]; set format x '%g'; set xtics autofreq; " \
    . "set xlabel 'time of the other way / time of the library'; " \
    . as_fast . line(2, 0.1, "dashtype 2 linecolor '#909090'", "ten times faster", "center") \
    . ratios(1) . "unset arrow; unset label; "
growth = "set title 'Long lists, compared with lists of 100 entries' offset 0, 2.5; set offsets; " \
    . "set xrange [100:100000]; set format x '%.0f'; set xlabel 'entries in the list'; " \
    . "set yrange [0:1.2<*]; set ytics 0.5; set ylabel \"time per entry\\n(1: as at 100 entries)\"; " \
    . "set key at graph 0.5, 1.03 center bottom horizontal maxrows 2 samplen 1.5; " \
    . "plot for [i=2:STATS_blocks-1] 'plot.data' index i using 1:2 with linespoints pointtype 7 pointsize 0.5 " \
    . "linecolor rgb colours[(i - 2) % 5 + 1] title columnheader(1); "
all = "set multiplot; " . place(0.22, 0.50, 0.17, 0.89) . least_code \
    . place(0.71, 0.97, grows ? 0.64 : 0.17, 0.89) . others \
    . (grows ? place(0.61, 0.97, 0.17, 0.41) . growth : "") . "unset multiplot"

set terminal svg size 1200, 660 font "sans-serif,12" background "white" noenhanced
set output "results.svg"
eval all
set terminal pngcairo size 1800, 990 font "sans-serif,12" fontscale 1.3 pointscale 1.7 linewidth 1.5 noenhanced
set output "results.png"
eval all
