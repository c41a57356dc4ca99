# Reads the call graphs that GCC writes with -fcallgraph-info=su. Prints the deepest frame of each source,
# then the deepest way from each function that nothing in the module calls: those the host and the
# application enter by. What the host, the application and the libraries use on top is not in it.

BEGIN {
    # Who calls whom through a table of the module: signatures, as patterns.
    Table("SmartControl_extend_data_route_cb", "::Serve[A-Z]")
    Table("SmartControl_BusPlatform_Handle_ReqAndRsp", "^int Set[A-Za-z]+(Req|Action)\\(")
    Table("::(HandleAction|Perform)\\(", "::Deliver[A-Z]")
    Table("::BuildCenter\\(", "::Write(Center|Member)")
    Table("SmartContDCLog_PushEntireDCLog", "::FillParam_")
    Table("::(SetRequestedKey|SetKeyValue|HandleKeyValue)\\(|SmartControl_BusPlatform_XmlHandle_ReqAndRsp", "_SetVal\\(")
    Table("tqDevSDK_SmartControl_Msg2Server", "::Report\\(const void\\*\\)")
    # Who calls the application: these ways leave the module.
    leaves = "SendToDevice|::(MakeForCloud|Query)\\(|QueryChimeSignalReq|GenJson_SmartControl_Rules_Proc"
}

function Table(caller, callee) {
    callers[++tables] = caller
    callees[tables] = callee
}

# A quoted field. Constructors and destructors go by two names where one would do.
function Field(name,   text) {
    match($0, name ": \"[^\"]*\"")
    text = substr($0, RSTART + length(name) + 3, RLENGTH - length(name) - 4)
    sub(/D1Ev$/, "D2Ev", text)
    sub(/C1Ev$/, "C2Ev", text)
    return text
}

/^node:/ && /bytes \(/ {
    name = Field("title")
    split(Field("label"), part, "\\\\n")
    signature[name] = part[1]
    frame[name] = part[3] + 0
    unbounded[name] = part[3] ~ /dynamic/ && part[3] !~ /bounded/
    source = part[2]
    sub(/:.*/, "", source)
    sub(/.*\//, "", source)
    if (!(source in deepest) || frame[name] > frame[deepest[source]]) {
        deepest[source] = name
    }
}

/^edge:/ {
    from = Field("sourcename")
    to = Field("targetname")
    if (to == "__indirect_call") {
        pointer[from] = 1
    } else if (!((from, to) in edge)) {
        edge[from, to] = 1
        calls[from] = calls[from] "\n" to
    }
}

# "int f(const X&) [with ...]" becomes "f". The compiler gives parts that it split off no proper name.
function Short(name,   text) {
    text = signature[name]
    sub(/ \[with.*/, "", text)
    sub(/\(.*/, "", text)
    gsub(/\{anonymous\}::/, "", text)
    sub(/.* [*&]?/, "", text)
    return text ~ /^[0-9]*$/ ? "(part)" : text
}

# The bytes of the deepest way from here; the next step of it in `next_step`.
function Depth(name,   list, count, i, most, depth) {
    if (name in depth_of) {
        return depth_of[name]
    }
    if (name in entered) {
        print "recursion through " Short(name) ": its ways are not bounded"
        return 0
    }
    entered[name] = 1
    most = 0
    count = split(substr(calls[name], 2), list, "\n")
    for (i = 1; i <= count; ++i) {
        if (list[i] in frame && (depth = Depth(list[i])) > most) {
            most = depth
            next_step[name] = list[i]
        }
    }
    return depth_of[name] = frame[name] + most
}

END {
    print "deepest frame of each source, bytes"
    sort = "sort -k1,1nr"
    for (source in deepest) {
        printf "%8d  %-42s %s%s\n", frame[deepest[source]], source, Short(deepest[source]),
            (unbounded[deepest[source]] ? " (not bounded)" : "") | sort
    }
    close(sort)

    for (from in pointer) {
        followed = signature[from] ~ leaves
        for (i = 1; i <= tables; ++i) {
            if (signature[from] !~ callers[i]) {
                continue
            }
            for (to in frame) {
                if (signature[to] ~ callees[i]) {
                    calls[from] = calls[from] "\n" to
                    edge[from, to] = followed = 1
                }
            }
        }
        if (!followed) {
            print "not followed: calls through a pointer by " signature[from]
        }
    }
    for (pair in edge) {
        split(pair, end, SUBSEP)
        called[end[2]] = 1
    }

    print "\ndeepest way from each entry, bytes in the module, above 16"
    for (name in frame) {
        if (!(name in called) && Depth(name) > 16) {
            line = sprintf("%8d ", Depth(name))
            for (step = name; step != ""; step = next_step[step]) {
                line = line sprintf(" %s %d", Short(step), frame[step])
            }
            print line | sort
        }
    }
    close(sort)
}
