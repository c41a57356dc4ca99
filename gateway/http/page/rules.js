// SPDX-License-Identifier: Apache-2.0
// The hub's rules: when they are active, what became of them, and what is wrong with them.
import {OWN} from './messages.js';
import {el, printable, svg} from './text.js';

const WEEK = ['Monday', 'Tuesday', 'Wednesday', 'Thursday', 'Friday', 'Saturday', 'Sunday'];
const DAY_MINUTES = 24 * 60;
const TRACE = 50; // entries shown of a rule

/** What messages said of each rule, counted as they come. */
export class RuleHistory {
    constructor() {
        this.clear();
    }

    clear() {
        this.rules = new Map();
        this.firstDay = null; // the name of day 1
        this.asked = false;   // what comes now answers a question, so it did not happen
    }

    take(message) {
        if (message.key === 'linkage') {
            const day = /"day_1"\s*:\s*"(\w+)"/.exec(message.raw)?.[1];
            this.firstDay = day ?? this.firstDay;
        }
        if (message.what === 'in') {
            this.asked = message.key === 'trace' || message.key === 'explain';
        }
        if (message.rule === undefined || this.asked) {
            return;
        }
        const rule = this.of(message.rule);
        rule.fired += message.became === 'fired' ? 1 : 0;
        rule.entries.push({number: message.number, text: message.name});
        if (message.became === 'fired' || message.became === 'held') {
            rule.verdict = message.name;
        }
        if (rule.entries.length > TRACE) {
            rule.entries.shift();
        }
    }

    of(id) {
        if (!this.rules.has(id)) {
            this.rules.set(id, {fired: 0, verdict: null, entries: []});
        }
        return this.rules.get(id);
    }
}

function minutes(time) {
    const match = /^n?(\d{1,2}):(\d{1,2})$/.exec(time);
    return match ? Number(match[1]) * 60 + Number(match[2]) : null;
}

/** The pieces of a rule's week that are active: [day from 0, from minute, to minute]. */
export function activePieces(rule) {
    const start = minutes(rule.startTime);
    const end = minutes(rule.endTime);
    if (start === null || end === null) {
        return [];
    }
    const next = rule.endTime.startsWith('n');
    const pieces = [];
    for (const name of rule.weekdays ?? []) {
        const day = Number(name) - 1;
        if (next) {
            pieces.push([day, start, DAY_MINUTES], [(day + 1) % 7, 0, end]);
        } else if (end >= start) {
            pieces.push([day, start, end]);
        }
    }
    return pieces;
}

function weekStrip(rule, firstDay) {
    const WIDTH = 28;
    const first = Math.max(0, WEEK.indexOf(firstDay));
    const drawing = svg('svg', {class: 'week', viewBox: `0 0 ${7 * WIDTH} 26`, width: 7 * WIDTH, height: 26, role: 'img',
        'aria-label': `Days ${(rule.weekdays ?? []).join(', ') || 'none'}, ${rule.startTime} to ${rule.endTime}`});
    for (let day = 0; day < 7; ++day) {
        drawing.append(svg('rect', {class: 'day', x: day * WIDTH + 1, y: 12, width: WIDTH - 2, height: 12, rx: 2}),
            svg('text', {x: day * WIDTH + WIDTH / 2, y: 9}, firstDay ? WEEK[(first + day) % 7].slice(0, 2) : String(day + 1)));
    }
    for (const [day, from, to] of activePieces(rule)) {
        const scale = (WIDTH - 2) / DAY_MINUTES;
        drawing.append(svg('rect', {class: 'active', x: day * WIDTH + 1 + from * scale, y: 12, width: Math.max(1, (to - from) * scale), height: 12}));
    }
    return drawing;
}

/** What a trace says of a rule, without the rule. */
function withoutRule(rule, text) {
    const begin = `rule ${rule.id} "${printable(rule.name)}" `;
    return text.startsWith(begin) ? text.slice(begin.length) : text;
}

function eventText(event) {
    return `${event.deviceId} · domain ${event.domain} · command ${event.cmdId} · channel ${event.channelNo} · value ${event.value}`;
}

function actionText(action) {
    const params = Object.values(action.params ?? {}).join(', ');
    return `${action.deviceId} · domain ${action.domain} · command ${action.cmdId} · channel ${action.channelNo}` +
        (params ? ` · ${params}` : '') + (action.delay ? ` · after ${action.delay}` : '');
}

function list(texts, none) {
    return texts.length === 0 ? el('p', {class: 'note'}, none)
        : el('ul', {class: 'plain-list'}, ...texts.map((text) => el('li', {}, ...[text].flat())));
}

export class RulesView {
    constructor(root, post, history) {
        this.root = root;
        this.post = post;
        this.history = history;
        this.open = new Set();
        this.explained = new Map();
    }

    empty(text) {
        this.root.replaceChildren(el('p', {class: 'empty'}, text));
    }

    /** Asks for the rules and draws them. */
    async refresh() {
        try {
            const [shown, wrong] = await this.post(JSON.stringify({show: 'hub', id: OWN}));
            if (!('hub' in shown)) {
                this.empty((shown.error ?? wrong?.error ?? 'The hub does not answer') + '.');
                return;
            }
            this.value = shown.hub.rules ?? [];
            this.findings = (await this.post(JSON.stringify({check: this.value, id: OWN})))[0].check ?? [];
        } catch (error) {
            this.empty(error.message + '.');
            return;
        }
        this.draw();
    }

    draw() {
        if (!this.value) {
            return;
        }
        const focused = document.activeElement?.id;
        const rows = [];
        this.value.forEach((unit, u) => (unit.status ?? []).forEach((rule, r) => {
            const findings = this.findings.filter((finding) => `${finding.pointer}/`.startsWith(`/${u}/status/${r}/`));
            rows.push(...this.#rows(rule, unit, findings));
        }));
        if (rows.length === 0) {
            this.empty('The hub has no rules yet. Send it some: the sample “shadow” with InterconnectionRule is a start.');
            return;
        }
        const count = this.value.reduce((sum, unit) => sum + (unit.status ?? []).length, 0);
        this.root.replaceChildren(
            el('h2', {}, 'Rules of the hub', el('small', {}, `${count} ${count === 1 ? 'rule' : 'rules'}` +
                (this.history.firstDay ? '' : '; no linkage engine says which day day 1 is'))),
            el('div', {class: 'table'}, el('table', {}, el('thead', {}, el('tr', {},
                ...['Rule', 'Channel', 'Week', 'Last verdict'].map((name) => el('th', {scope: 'col'}, name)),
                el('th', {scope: 'col', class: 'count'}, 'Fired'), el('th', {scope: 'col'}, 'Check'))),
            el('tbody', {}, ...rows))));
        if (focused) {
            document.getElementById(focused)?.focus();
        }
    }

    #rows(rule, unit, findings) {
        const past = this.history.of(rule.id);
        const open = this.open.has(rule.id);
        const serious = findings.some((finding) => finding.class !== 'note');
        const name = el('button', {type: 'button', class: 'plain', id: `rule-${rule.id}`, 'aria-expanded': String(open), onclick: () => {
            if (!this.open.delete(rule.id)) {
                this.open.add(rule.id);
            }
            this.draw();
        }}, rule.name || '(no name)');
        const row = el('tr', {class: rule.enable ? 'rule' : 'rule off', 'data-rule': rule.id},
            el('td', {}, name, el('div', {class: 'note'}, `id ${rule.id}${rule.enable ? '' : ', disabled'}`)),
            el('td', {'data-label': 'Channel'}, String(unit.channel ?? '')),
            el('td', {}, weekStrip(rule, this.history.firstDay), el('div', {class: 'note'}, `${rule.startTime} – ${rule.endTime.replace(/^n/, '')}${rule.endTime.startsWith('n') ? ' next day' : ''}`)),
            el('td', {class: 'verdict'}, past.verdict ? withoutRule(rule, past.verdict) : el('span', {class: 'note'}, 'no event yet')),
            el('td', {class: 'count', 'data-label': 'Fired'}, String(past.fired)),
            el('td', {}, el('span', {class: serious ? 'tag bad' : 'tag'}, findings.length === 0 ? 'clean' : `${findings.length} ${findings.length === 1 ? 'finding' : 'findings'}`)));
        return open ? [row, el('tr', {class: 'detail'}, el('td', {colspan: 6}, this.#detail(rule, past, findings)))] : [row];
    }

    #detail(rule, past, findings) {
        const event = rule.rule?.events?.[0];
        const explain = event && el('button', {type: 'button', class: 'small', onclick: () => this.#explain(rule, event)}, 'What would event 1 do now?');
        const explained = this.explained.get(rule.id);
        return el('div', {class: 'columns'},
            el('div', {}, el('h3', {}, `Events (condition ${rule.rule?.condition ?? '?'})`), list((rule.rule?.events ?? []).map(eventText), 'It has none, so nothing fires it.'),
                explain ?? '', explained ? el('p', {role: 'status'}, explained) : '',
                el('h3', {}, 'Actions'), list((rule.rule?.actions ?? []).map(actionText), 'It has none.')),
            el('div', {}, el('h3', {}, `Trace`),
                list(past.entries.slice().reverse().map(({number, text}) => [el('a', {href: '#' + number}, '#' + number), withoutRule(rule, text)]), 'Nothing happened to it yet.')),
            el('div', {}, el('h3', {}, 'Check'),
                list(findings.map((finding) => [el('span', {class: finding.class === 'note' ? 'tag' : 'tag bad'}, finding.class), ' ' + finding.text]), 'Nothing is wrong with it.')));
    }

    async #explain(rule, event) {
        const out = await this.post(JSON.stringify({explain: {...event}, id: OWN}));
        const own = out.find((line) => line.rule === rule.id) ?? out.find((line) => 'error' in line);
        this.explained.set(rule.id, own?.text ?? own?.error ?? 'No answer');
        this.draw();
    }
}
