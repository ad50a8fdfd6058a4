-- Prints per packet type how many a capture has, their bytes with headers, and of answers the shortest,
-- mean and longest time from the request:
--     tshark -q -X lua_script:quarlo-statistics.lua -r FILE
-- Beside the plug-ins, because a listener has every packet's tree built. Needs the dissector.

local type_of, length_of, time_of =
    Field.new("quarlo.type"), Field.new("quarlo.length"), Field.new("quarlo.response_time")
local listener = Listener.new("frame", "quarlo")
local header_size = 9
local packets = {}

local function packet_of(info)
    local name = info.display
    packets[name] = packets[name] or { number = info.value, count = 0, bytes = 0, times = 0, sum = 0 }
    return packets[name]
end

local function count_time(packet, time)
    packet.times = packet.times + 1
    packet.sum = packet.sum + time
    packet.shortest = math.min(packet.shortest or time, time)
    packet.longest = math.max(packet.longest or time, time)
end

-- All fields in the order of the tree: what follows a type belongs to it.
function listener.packet()
    if not type_of() then return end
    local packet
    for _, info in ipairs({ all_field_infos() }) do
        if info.name == "quarlo.type" then
            packet = packet_of(info)
            packet.count = packet.count + 1
            packet.bytes = packet.bytes + header_size
        elseif packet and info.name == "quarlo.length" then
            packet.bytes = packet.bytes + info.value
        elseif packet and info.name == "quarlo.response_time" then
            count_time(packet, info.value:tonumber())
        end
    end
end

function listener.reset()
    packets = {}
end

function listener.draw()
    local names = {}
    for name in pairs(packets) do names[#names + 1] = name end
    table.sort(names, function(a, b) return packets[a].number < packets[b].number end)
    print(string.format("%-32s %9s %13s %11s %11s %11s", "packet", "count", "bytes", "shortest ms",
                        "mean ms", "longest ms"))
    for _, name in ipairs(names) do
        local packet = packets[name]
        local line = string.format("%-32s %9d %13.0f", name, packet.count, packet.bytes)
        if packet.times > 0 then
            line = line .. string.format(" %11.3f %11.3f %11.3f", packet.shortest * 1000,
                                         packet.sum / packet.times * 1000, packet.longest * 1000)
        end
        print(line)
    end
end
