set encoding utf8
$d << EOD
0.125 0.625
0.375 0.125
0.625 0.875
0.875 0.375
EOD
$h << EOD
0 3
0.5 2.5
1 2.5
EOD
set terminal svg noenhanced size 720,960
set output 'out''s.svg'
set multiplot
unset key
set tics scale 0.4 font ',8'
set lmargin at screen 0.0700
set rmargin at screen 0.5024
set bmargin at screen 0.6400
set tmargin at screen 0.9643
set xrange [-0.05:1.05]
set xtics format '' autofreq
set ytics format '%g' autofreq
set yrange [0:1]
set ytics format '' autofreq
set label 1 'it''s `date` [m<s]' at graph 0.5,0.55 center noenhanced
plot $d using 1:(0):(0):(0.12) with vectors nohead linecolor rgb '#1d6996'
unset label 1
set lmargin at screen 0.5300
set rmargin at screen 0.9624
set bmargin at screen 0.6400
set tmargin at screen 0.9643
set xrange [0.0875:0.9125]
set xtics format '' autofreq
set ytics format '' autofreq
set yrange [-0.05:1.05]
plot $d using 2:1 with points pointtype 7 pointsize 0.35 linecolor rgb '#1d6996'
set lmargin at screen 0.0700
set rmargin at screen 0.5024
set bmargin at screen 0.2950
set tmargin at screen 0.6193
set xrange [-0.05:1.05]
set xtics format '%g' autofreq rotate by -45
set ytics format '%g' autofreq
set yrange [0.0875:0.9125]
plot $d using 1:2 with points pointtype 7 pointsize 0.35 linecolor rgb '#1d6996'
set lmargin at screen 0.5300
set rmargin at screen 0.9624
set bmargin at screen 0.2950
set tmargin at screen 0.6193
set xrange [0.0875:0.9125]
set xtics format '%g' autofreq rotate by -45
set ytics format '' autofreq
set yrange [0:1]
set ytics format '' autofreq
set label 1 '{x}_2' at graph 0.5,0.55 center noenhanced
plot $d using 2:(0):(0):(0.12) with vectors nohead linecolor rgb '#1d6996'
unset label 1
set lmargin at screen 0.12
set rmargin at screen 0.97
set bmargin at screen 0.06
set tmargin at screen 0.22
set xrange [*:*]
set yrange [*:*]
set xtics format '%g' autofreq norotate
set ytics format '%g' autofreq
set xlabel 'seconds' offset 0,0.8
set ylabel 'objective' offset 1
plot $h using 1:2 with steps linewidth 1.5 linecolor rgb '#1d6996'
unset multiplot
unset output
