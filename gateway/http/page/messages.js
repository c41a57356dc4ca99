// SPDX-License-Identifier: Apache-2.0
// What a line of a session says, and where the timeline draws it.
import {printable} from './text.js';

export const LANES = ['platform', 'module', 'hub', 'linkage'];
const [PLATFORM, MODULE, HUB, LINKAGE] = [0, 1, 2, 3];
const OUTSIDE = -1;

/** The lines of the page's own questions carry this id, and so do their answers. */
export const OWN = 'page';

export const KINDS = {
    platform: 'Platform',
    device: 'Device',
    linkage: 'Linkage',
    bench: 'Hub, host, time',
    result: 'Results',
    error: 'Errors',
    log: 'Log',
};

const LANE_OF = {platform: PLATFORM, module: MODULE, device: HUB};

/** Lines in that the linkage engine takes. */
const FOR_LINKAGE = {
    event: [HUB, LINKAGE], members: [HUB, LINKAGE], done: [HUB, LINKAGE], linkage: [OUTSIDE, LINKAGE],
    explain: [OUTSIDE, LINKAGE], trace: [OUTSIDE, LINKAGE], now: [OUTSIDE, LINKAGE], advance: [OUTSIDE, LINKAGE],
};

/** Lines out: their key, the label before its value, where they go, and what they are. */
const OUT = [
    ['command', '', MODULE, PLATFORM, 'platform'], ['model', 'model ', MODULE, PLATFORM, 'platform'],
    ['model_reply', 'reply ', MODULE, PLATFORM, 'platform'], ['shadow', 'shadow ', MODULE, PLATFORM, 'platform'],
    ['msg', '', MODULE, HUB, 'device'], ['dclog', 'dclog ', MODULE, PLATFORM, 'platform'],
];

/** Knows what the gateway calls its lines and commands. */
export class Vocabulary {
    constructor(kinds) {
        this.lines = kinds.lines;
        this.commands = kinds.commands;
        this.hostFunctions = kinds.host_functions;
        this.byKey = new Map(this.lines.map((line) => [line.key, line]));
    }

    keyOf(line) {
        return Object.keys(line).find((key) => this.byKey.has(key));
    }

    command(number) {
        const name = this.commands[number];
        return name ? `${number} ${name}` : String(number);
    }
}

function fieldsOf(object, ...without) {
    return Object.entries(object).filter(([key]) => key !== 'id' && !without.includes(key))
        .map(([key, value]) => `${key}=${JSON.stringify(value)}`).join(' ');
}

function summary(object, key, label, vocabulary) {
    const value = object[key];
    if (value !== null && typeof value === 'object') {
        return [label.trim() || key, Array.isArray(value) ? JSON.stringify(value) : fieldsOf(value)];
    }
    const shown = key === 'command' ? vocabulary.command(value) : typeof value === 'boolean' ? '' : String(value);
    return [label + shown, fieldsOf(object, key, 'to')];
}

function describeIn(line, vocabulary) {
    const key = vocabulary.keyOf(line);
    if (key === undefined) {
        return {from: OUTSIDE, to: MODULE, kind: 'error', name: '?', fields: JSON.stringify(line)};
    }
    const row = vocabulary.byKey.get(key);
    const [name, fields] = summary(line, key, row.label, vocabulary);
    const [from, to] = FOR_LINKAGE[key] ?? [LANE_OF[row.from] ?? OUTSIDE, LANE_OF[row.to] ?? PLATFORM];
    const kind = key in FOR_LINKAGE ? 'linkage' : row.from === 'platform' || row.from === 'host' ? 'platform'
        : row.from === 'device' ? 'device' : 'bench';
    return {from, to, kind, name, fields, key};
}

function describeLinkage(line) {
    const what = line.linkage;
    const lanes = what === 'run' ? {from: LINKAGE, to: HUB} : {from: LINKAGE, to: LINKAGE};
    const tone = what === 'fired' || what === 'fires' ? 'strong' : what === 'held' || what === 'misses' ? 'dim' : '';
    return {...lanes, kind: 'linkage', name: line.text ?? what, tone, rule: line.rule, became: what,
        fields: line.stAction ? fieldsOf(line.stAction) : ''};
}

function describeOut(line, vocabulary) {
    if ('linkage' in line) {
        return describeLinkage(line);
    }
    if ('error' in line) {
        return {from: MODULE, to: MODULE, kind: 'error', name: 'error: ' + line.error, fields: '', tone: 'bad'};
    }
    if ('result' in line) {
        const bad = line.result !== null && line.result !== 0;
        return {from: MODULE, to: MODULE, kind: 'result', name: line.result === null ? 'done' : 'result ' + line.result,
            fields: '', tone: bad ? 'bad' : 'dim'};
    }
    for (const [key, label, from, to, kind] of OUT) {
        if ('to' in line && key in line) {
            const [name, fields] = summary(line, key, label, vocabulary);
            return {from, to, kind, name, fields};
        }
    }
    if ('log' in line) {
        return {from: MODULE, to: MODULE, kind: 'log', name: 'log ' + line.log, fields: String(line.text), tone: 'dim'};
    }
    if ('misuse' in line) {
        return {from: HUB, to: HUB, kind: 'error', name: 'misuse ' + line.misuse, fields: String(line.text), tone: 'bad'};
    }
    if ('check' in line) {
        return {from: LINKAGE, to: LINKAGE, kind: 'linkage', name: `check: ${line.check.length} findings`,
            fields: JSON.stringify(line.check)};
    }
    const lane = 'host' in line ? PLATFORM : HUB;
    return {from: lane, to: lane, kind: 'bench', name: 'state', fields: fieldsOf(line, 'to')};
}

const SHOWN = 400; // characters of the fields on a row

/** A line of a recording as a message. */
export function describe(number, raw, vocabulary) {
    if (raw.startsWith('#')) {
        return {number, raw, heading: true, name: raw.replace(/^#\s*/, ''), kind: 'heading', fields: ''};
    }
    let record;
    try {
        record = JSON.parse(raw);
    } catch {
        return {number, raw, from: MODULE, to: MODULE, kind: 'error', name: 'not JSON', fields: raw.slice(0, SHOWN), tone: 'bad'};
    }
    const what = ['in', 'out', 'event', 'refusal', 'session'].find((key) => key in record);
    const line = record[what];
    const time = typeof record.time === 'string' ? record.time.slice(11, 23) : '';
    let row;
    if (what === 'session') {
        row = {heading: true, name: 'The session begins', kind: 'heading', fields: ''};
    } else if (what === 'out') {
        row = describeOut(line, vocabulary);
    } else if (what === 'refusal' || typeof line !== 'object' || line === null || Array.isArray(line)) {
        row = {from: OUTSIDE, to: MODULE, kind: 'error', name: '?', fields: typeof line === 'string' ? line : JSON.stringify(line ?? raw)};
    } else {
        row = describeIn(line, vocabulary);
    }
    row.fields = printable(row.fields.length > SHOWN ? row.fields.slice(0, SHOWN) + ' …' : row.fields);
    row.name = printable(row.name);
    return {number, raw, time, own: line?.id === OWN, what, ...row};
}

/** Whether a message is an arrow, not a remark on one lane. */
export function isArrow(message) {
    return !message.heading && message.from !== message.to;
}

/** The line itself, without what a recording has around it. */
export function bodyOf(message) {
    return message.raw.startsWith('#') ? message.raw : pretty1(message.raw);
}

function pretty1(raw) {
    const inner = /^\{"(?:in|out|event|session|refusal)":([^]*?)(?:,"time":"[^"]*")?\}$/.exec(raw);
    return inner ? inner[1] : raw;
}

export function direction(message) {
    if (message.heading) {
        return '';
    }
    const from = message.from === OUTSIDE ? 'outside' : LANES[message.from];
    return isArrow(message) ? `${from} to ${LANES[message.to]}` : `at ${from}`;
}
