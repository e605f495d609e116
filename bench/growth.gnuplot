# Draws how cost grows:  gnuplot bench/growth.gnuplot   (Debian's gnuplot-nox), from the repository's root.
# Reads docs/growth.dat, writes docs/growth.svg.
data = "docs/growth.dat"
set terminal svg size 1260,380 font "sans,12" background "white"
set output "docs/growth.svg"
set multiplot layout 1,3
set logscale xy
set format xy "10^{%L}"
set grid
set key top left Left reverse
set ylabel "ns each"
set style data linespoints

set title "One endpoint event"
set xlabel "endpoints outstanding"
set yrange [1:1e6]
plot data index "event listed library" title "in list order", \
     data index "event random library" title "in random order", \
     data index "event listed literal" title "literal, in list order", \
     data index "event random literal" title "literal, in random order"

set title "Encoding, per mapping entry"
set xlabel "mapping entries"
set yrange [100:100000]
plot data index "encode library" title "library", \
     data index "encode floor" title "fastest by hand", \
     data index "encode literal" title "literal"

set title "Property tree, per node"
set xlabel "nodes"
set yrange [10:10000]
plot data index "convert flat" title "flat", \
     data index "convert nested" title "nested", \
     data index "convert deep" title "chains of 500 levels"
