# SPDX-License-Identifier: MIT
#
# Draws cost against size as SVG, both axes logarithmic, from the rows that
# vorn_bench --rows=FILE writes:
#
#   awk -v benchmark=NAME -v title=TEXT -v x_label=TEXT -v y_label=TEXT \
#     -f plot.awk ROWS > PLOT.svg
BEGIN {
  FS = "\t"
  width = 720; height = 420
  left = 70; right = 130; top = 50; bottom = 60
  names[1] = "Vorn"; names[2] = "floor"; names[3] = "mpq pairs"
  colours[1] = "#1b6ca8"; colours[2] = "#6b6b6b"; colours[3] = "#c4572e"
}
function note(who, size, cost) {
  if (cost <= 0) return
  costs[who, size] = cost
  if (!(size in known)) { known[size] = 1; sizes[++n] = size }
  if (low_x == "" || size < low_x) low_x = size
  if (high_x == "" || size > high_x) high_x = size
  if (low_y == "" || cost < low_y) low_y = cost
  if (high_y == "" || cost > high_y) high_y = cost
}
index($1, benchmark "/") == 1 && $5 == "ns" {
  size = substr($1, length(benchmark) + 2)
  if (size !~ /^[0-9]+$/) next
  size += 0
  for (s = 2; s <= 3; ++s) {
    if ($2 != names[s]) continue
    note(1, size, $3 + 0)
    note(s, size, $4 + 0)
  }
}
function log10(v) { return log(v) / log(10) }
function x_of(size) {
  return left + (width - left - right) * \
         (log10(size) - log10(low_x)) / (log10(high_x) - log10(low_x))
}
function y_of(cost) {
  return height - bottom - (height - top - bottom) * \
         (log10(cost) - first) / (last - first)
}
function text(x, y, anchor, what, more) {
  printf "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\" %s>%s</text>\n",
         x, y, anchor, more, what
}
function line(x1, y1, x2, y2, colour) {
  printf "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" " \
         "stroke=\"%s\"/>\n", x1, y1, x2, y2, colour
}
function floor_of(v) { return v >= 0 || v == int(v) ? int(v) : int(v) - 1 }
END {
  if (n < 2) {
    print "plot.awk: fewer than two sizes of " benchmark > "/dev/stderr"
    exit 1
  }
  first = floor_of(log10(low_y))
  last = floor_of(log10(high_y)) + 1
  printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" " \
         "height=\"%d\" font-family=\"sans-serif\" font-size=\"13\">\n",
         width, height
  print "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>"
  text(width / 2, 25, "middle", title, "font-size=\"16\"")
  for (e = first; e <= last; ++e) {
    y = y_of(10 ^ e)
    line(left, y, width - right, y, "#dddddd")
    text(left - 8, y + 4, "end", 10 ^ e, "")
    if (e == last) continue
    for (m = 2; m <= 5; m += 3) {
      y = y_of(m * 10 ^ e)
      line(left, y, width - right, y, "#f0f0f0")
      text(left - 8, y + 4, "end", m * 10 ^ e, "fill=\"#999999\"")
    }
  }
  for (i = 1; i <= n; ++i) {
    x = x_of(sizes[i])
    line(x, top, x, height - bottom, "#eeeeee")
    text(x, height - bottom + 18, "middle", sprintf("%d", sizes[i]), "")
  }
  text((left + width - right) / 2, height - 15, "middle", x_label, "")
  text(0, 0, "middle", y_label,
       sprintf("transform=\"translate(18 %d) rotate(-90)\"", height / 2))
  for (s = 1; s <= 3; ++s) {
    points = ""
    for (i = 1; i <= n; ++i) {
      if (!((s, sizes[i]) in costs)) continue
      x = x_of(sizes[i]); y = y_of(costs[s, sizes[i]])
      points = points sprintf("%.1f,%.1f ", x, y)
      printf "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3.5\" fill=\"%s\"/>\n",
             x, y, colours[s]
    }
    if (points == "") continue
    printf "<polyline points=\"%s\" fill=\"none\" stroke=\"%s\" " \
           "stroke-width=\"2\"/>\n", points, colours[s]
    text(x + 10, y + 4, "start", names[s],
         "fill=\"" colours[s] "\" font-weight=\"bold\"")
  }
  print "</svg>"
}
