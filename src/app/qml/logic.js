.pragma library

// Pure rules of the views, kept apart so Qt Quick tests can reach them.

var holdMillis = 550
var dragThreshold = 6

// What a press on the volume dial was: a drag once it moved past the
// threshold, a hold when it stayed put long enough, else a click.
function dialGesture(movedPixels, heldMillis) {
    if (movedPixels > dragThreshold)
        return "drag"
    if (heldMillis >= holdMillis)
        return "hold"
    return "click"
}

// The dial's arc runs from 135° (bottom left) clockwise through the top to
// 45° (bottom right): 270° for volumes 0 to 100. dx, dy from the centre,
// y pointing down as on screen.
var arcStart = 135
var arcSweep = 270

function angleToVolume(dx, dy, previous) {
    if (dx === 0 && dy === 0)
        return previous
    var degrees = Math.atan2(dy, dx) * 180 / Math.PI
    var along = (degrees - arcStart + 720) % 360
    if (along > arcSweep) {
        // The gap at the bottom: stick to the nearer end.
        return along - arcSweep < (360 - arcSweep) / 2 ? 100 : 0
    }
    return Math.round(along / arcSweep * 100)
}

function volumeToAngle(volume) {
    return arcStart + Math.max(0, Math.min(100, volume)) / 100 * arcSweep
}

// The seek bar: a point x of a bar `width` wide is a fraction of the track.
function seekFraction(x, width) {
    if (width <= 0)
        return 0
    return Math.max(0, Math.min(1, x / width))
}

function fractionOf(position, duration) {
    if (duration <= 0)
        return 0
    return Math.max(0, Math.min(1, position / duration))
}

// "3:07", "1:02:05"; negative times are shown as zero.
function clockText(millis) {
    var total = Math.max(0, Math.floor(millis / 1000))
    var h = Math.floor(total / 3600)
    var m = Math.floor(total / 60) % 60
    var s = total % 60
    var ss = (s < 10 ? "0" : "") + s
    if (h > 0)
        return h + ":" + (m < 10 ? "0" : "") + m + ":" + ss
    return m + ":" + ss
}

function remainingText(position, duration) {
    return "-" + clockText(Math.max(0, duration - position))
}

// The grouping checklist: the last ticked room cannot be unticked.
var lastRoomText = "At least one room must remain selected."

// Returns {selected, refused}: the new selection and whether it was refused.
function toggleRoom(selected, playerId) {
    var next = selected.slice()
    var at = next.indexOf(playerId)
    if (at >= 0) {
        if (next.length === 1)
            return { selected: selected, refused: true }
        next.splice(at, 1)
    } else {
        next.push(playerId)
    }
    return { selected: next, refused: false }
}

function sameRooms(a, b) {
    if (a.length !== b.length)
        return false
    for (var i = 0; i < a.length; ++i)
        if (b.indexOf(a[i]) < 0)
            return false
    return true
}

// The lyric line being sung at `position`: the last timed line that has
// started; -1 before the first one or for untimed lyrics.
function currentLine(lines, position) {
    var lo = 0, hi = lines.length - 1, found = -1
    while (lo <= hi) {
        var mid = (lo + hi) >> 1
        var t = lines[mid].time
        if (t < 0) // untimed lines have no current line
            return -1
        if (t <= position) {
            found = mid
            lo = mid + 1
        } else {
            hi = mid - 1
        }
    }
    return found
}

// Favorites matching a search, case and accent blind.
function fold(text) {
    return text.normalize("NFD").replace(/[\u0300-\u036f]/g, "").toLowerCase()
}

function filterFavorites(favorites, query, service) {
    var q = fold(query.trim())
    var out = []
    for (var i = 0; i < favorites.length; ++i) {
        var f = favorites[i]
        if (service !== "" && f.service !== service)
            continue
        if (q !== "" && fold(f.name + " " + f.detail).indexOf(q) < 0)
            continue
        out.push(f)
    }
    return out
}

function servicesOf(favorites) {
    var seen = []
    for (var i = 0; i < favorites.length; ++i)
        if (favorites[i].service !== "" && seen.indexOf(favorites[i].service) < 0)
            seen.push(favorites[i].service)
    return seen.sort()
}
