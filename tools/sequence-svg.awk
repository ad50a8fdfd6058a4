# Draws a sequence between head unit, library and phone: awk -f tools/sequence-svg.awk NAME.seq > NAME.svg
#
#   H>Q text    an arrow from the head unit (H), quarlo (Q) or the phone (P) to its neighbour; what quarlo
#               calls back (Q>H) is dashed
#   H: text     what one of them does meanwhile
#   = text      a line across: a state, or another case
#   # text      a comment
BEGIN {
    at["H"] = 110; at["Q"] = 400; at["P"] = 690
    name["H"] = "Head unit"; name["Q"] = "quarlo"; name["P"] = "Phone"
    y = 64
}

function fail(why) {
    print FILENAME ":" FNR ": " why > "/dev/stderr"
    failed = 1
    exit 1
}

function escaped(text) {
    gsub(/&/, "\\&amp;", text)
    gsub(/</, "\\&lt;", text)
    gsub(/>/, "\\&gt;", text)
    return text
}

function add(line) { body = body line "\n" }

function label(x, baseline, text, class) {
    add("<text x=\"" x "\" y=\"" baseline "\" class=\"" class "\">" escaped(text) "</text>")
}

/^#/ || /^[ \t]*$/ { next }

/^=/ {
    sub(/^= */, "")
    y += 30
    add("<line x1=\"20\" y1=\"" y "\" x2=\"780\" y2=\"" y "\" class=\"across\"/>")
    width = 7.2 * length($0) + 24
    add("<rect x=\"" 400 - width / 2 "\" y=\"" y - 10 "\" width=\"" width "\" height=\"20\" class=\"paper\"/>")
    label(400, y + 4, $0, "state")
    y += 2
    next
}

/^[HQP]: / {
    who = substr($0, 1, 1)
    sub(/^[HQP]: /, "")
    width = 7.2 * length($0) + 20
    if (width > 204) fail("more than fits beside the line")
    y += 16
    add("<rect x=\"" at[who] - width / 2 "\" y=\"" y "\" width=\"" width "\" height=\"24\" rx=\"4\" class=\"note\"/>")
    label(at[who], y + 16, $0, "text")
    y += 24
    next
}

/^(H>Q|Q>P|P>Q|Q>H) / {
    from = at[substr($0, 1, 1)]
    to = at[substr($0, 3, 1)]
    kind = substr($0, 1, 3) == "Q>H" ? "back" : "call"
    sub(/^... +/, "")
    if (length($0) > 40) fail("more than fits on an arrow")
    y += 36
    tip = to > from ? -10 : 10
    label((from + to) / 2, y - 7, $0, "text")
    add("<line x1=\"" from "\" y1=\"" y "\" x2=\"" to + tip "\" y2=\"" y "\" class=\"" kind "\"/>")
    add("<path d=\"M" to " " y "l" tip " -5v10z\" class=\"tip\"/>")
    next
}

{ fail("cannot be understood: " $0) }

END {
    if (failed) exit 1
    height = y + 34
    print "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"800\" height=\"" height "\" viewBox=\"0 0 800 " height "\">"
    print "<style>"
    print "text { font: 13px Helvetica, Arial, 'DejaVu Sans', sans-serif; text-anchor: middle; fill: #1b2333 }"
    print ".name { font-weight: bold; fill: #fff }"
    print ".state { font-style: italic; fill: #5b6478 }"
    print ".paper { fill: #fff }"
    print ".life { stroke: #b9c1d0; stroke-width: 2 }"
    print ".call, .back { stroke: #2457a7; stroke-width: 1.5 }"
    print ".back, .across { stroke-dasharray: 5 4 }"
    print ".across { stroke: #b9c1d0 }"
    print ".tip, .head { fill: #2457a7 }"
    print ".note { fill: #fff4d6; stroke: #d9b85c }"
    print "</style>"
    print "<rect x=\"0.5\" y=\"0.5\" width=\"799\" height=\"" height - 1 "\" rx=\"8\" fill=\"#fff\" stroke=\"#b9c1d0\"/>"
    split("H Q P", order, " ")
    for (i = 1; i <= 3; ++i) {
        x = at[order[i]]
        print "<line x1=\"" x "\" y1=\"44\" x2=\"" x "\" y2=\"" height - 14 "\" class=\"life\"/>"
        print "<rect x=\"" x - 70 "\" y=\"16\" width=\"140\" height=\"30\" rx=\"6\" class=\"head\"/>"
        print "<text x=\"" x "\" y=\"36\" class=\"name\">" name[order[i]] "</text>"
    }
    printf "%s</svg>\n", body
}
