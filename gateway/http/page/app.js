// SPDX-License-Identifier: Apache-2.0
// The page: from the gateway's events, or a file's, to the views.
import {Connection, takeToken} from './connection.js';
import {HubView} from './hub.js';
import {describe, KINDS, Vocabulary} from './messages.js';
import {RuleHistory, RulesView} from './rules.js';
import {makeSend} from './send.js';
import {el, printable} from './text.js';
import {Timeline} from './timeline.js';

const $ = (id) => document.getElementById(id);
const VIEWS = ['timeline', 'rules', 'hub'];
const CHANGES_HUB = /"(?:hub|host|set|shadow|msg|linkage)":/;

const timeline = new Timeline($('scroller'), $('rows'), showCount);
const history = new RuleHistory();
let vocabulary = null;
let live = [];        // all messages of the gateway
let file = null;      // the name of the recording that is looked at
let held = null;      // messages that came while paused
let refreshing = 0;

const connection = new Connection({
    onEvents(events) {
        take(events.map(({number, line}) => describe(number, line, vocabulary)));
    },
    onLost(count) {
        take([{number: 0, heading: true, kind: 'heading', raw: '#', fields: '',
            name: `${count} ${count === 1 ? 'message' : 'messages'} left out: the page was too slow for them`}]);
    },
    onRestart() {
        live = [];
        history.clear();
        if (file === null) {
            timeline.clear();
        }
    },
    onState(state, text) {
        $('state').className = 'state ' + state;
        $('state').textContent = text;
        $('token').hidden = state !== 'locked';
    },
});

function problem(text) {
    $('problem').textContent = printable(text);
    $('problem').hidden = text === '';
}

/** Posts lines for a view. */
function post(text) {
    return connection.post(text);
}

// ---- Messages. ----

function take(messages) {
    live.push(...messages);
    messages.forEach((message) => history.take(message));
    if (file !== null) {
        return;
    }
    if (held) {
        held.push(...messages);
        showCount();
    } else {
        timeline.add(messages);
        revealLinked();
    }
    if (messages.some((message) => !message.own && CHANGES_HUB.test(message.raw))) {
        refreshSoon();
    }
}

function showCount() {
    const {shown, all} = timeline;
    const waiting = held?.length ? `, ${held.length} more wait` : '';
    const own = all.length - shown.length;
    $('count').textContent = `${shown.length.toLocaleString('en')} messages` + (own > 0 ? ` of ${all.length.toLocaleString('en')}` : '') + waiting;
    $('newest').hidden = timeline.following;
    const empty = $('timeline-empty');
    empty.hidden = shown.length > 0;
    empty.textContent = all.length > 0 ? 'No message passes the filters.' : 'Nothing has happened yet. Press “Send” and start from a sample.';
}

function setFilters() {
    const kind = $('filter-kind').value;
    const device = $('filter-device').value.trim();
    const command = $('filter-command').value.trim().toLowerCase();
    const text = $('filter-text').value.trim().toLowerCase();
    const own = $('filter-own').checked;
    const escaped = device.replace(/[.*+?^${}()|[\]\\]/g, '\\$&');
    const hasDevice = new RegExp(`"(?:\\w*[dD]ev\\w*|\\w*[sS]erial\\w*|router|members)":(?:"[^"]*${escaped}|\\{[^}]*${escaped})`, 'i');
    timeline.setFilter((message) =>
        (own || !message.own) &&
        (kind === '' || message.kind === kind) &&
        (device === '' || hasDevice.test(message.raw)) &&
        (command === '' || message.name.toLowerCase().includes(command)) &&
        (text === '' || message.raw.toLowerCase().includes(text) || message.name.toLowerCase().includes(text)));
}

function clearFilters() {
    $('filters').reset();
    $('filter-own').checked = true;
    setFilters();
}

// ---- What the address shows. ----

let linked = null;

function goTo(hash) {
    if (/^#[0-9a-f]{32}$/.test(hash)) { // the address of another run, put into an open page
        connection.setToken(takeToken());
        return;
    }
    const number = /^#(\d{1,9})$/.exec(hash)?.[1];
    const view = VIEWS.find((name) => hash === '#' + name);
    if (number) {
        linked = Number(number);
        showView('timeline');
        revealLinked();
    } else if (view) {
        showView(view);
    }
}

function revealLinked() {
    if (linked === null || !timeline.all.some((message) => message.number === linked)) {
        return;
    }
    if (!timeline.shown.some((message) => message.number === linked)) {
        clearFilters();
    }
    timeline.reveal(linked);
    linked = null;
}

function showView(name) {
    for (const view of VIEWS) {
        const chosen = view === name;
        $('view-' + view).hidden = !chosen;
        $('tab-' + view).setAttribute('aria-selected', String(chosen));
        $('tab-' + view).tabIndex = chosen ? 0 : -1;
    }
    refresh();
    timeline.schedule();
}

// ---- Rules and the hub: asked again when something may have changed them. ----

const views = {};

function refresh() {
    for (const [name, view] of Object.entries(views)) {
        if (!$('view-' + name).hidden) {
            if (file === null) {
                view.refresh();
            } else {
                view.empty('A recording has no hub that can be asked. Go back to live.');
            }
        }
    }
}

function refreshSoon() {
    clearTimeout(refreshing);
    refreshing = setTimeout(refresh, 150);
}

// ---- Recordings. ----

function look(name, messages) {
    file = name;
    $('file').hidden = name === null;
    $('file-name').textContent = name === null ? '' : printable(`Looking at ${name}: ${messages.length} lines. Nothing of it goes to the gateway.`);
    timeline.clear();
    timeline.add(messages);
    timeline.follow();
    if (name !== null) {
        timeline.following = false;
        $('scroller').scrollTop = 0;
        showView('timeline');
    }
    refresh();
}

async function open(chosen) {
    const lines = (await chosen.text()).split('\n');
    if (!lines.some((line) => line.startsWith('{"session":'))) {
        problem(`${chosen.name}: holds no recording; --record FILE and “Download” make one.`);
        return;
    }
    problem('');
    const messages = lines.map((line, index) => [index + 1, line.trim()]).filter(([, line]) => line !== '')
        .map(([number, line]) => describe(number, line, vocabulary));
    look(chosen.name, messages);
}

async function download() {
    try {
        const link = el('a', {download: 'session.recorded.jsonl'});
        link.href = URL.createObjectURL(await connection.recording());
        link.click();
        setTimeout(() => URL.revokeObjectURL(link.href), 10_000);
        problem('');
    } catch (error) {
        problem(error.message);
    }
}

// ---- Listeners. ----

function pause(pressed) {
    $('pause').setAttribute('aria-pressed', String(pressed));
    $('pause').textContent = pressed ? 'Go on' : 'Pause';
    const came = held ?? [];
    held = pressed ? [] : null;
    timeline.add(came);
}

let send = null;

function toggleSend() {
    const opens = $('send').hidden;
    $('send').hidden = !opens;
    $('send-toggle').setAttribute('aria-expanded', String(opens));
    if (opens) {
        send.focus();
    }
    timeline.schedule();
}

function listen() {
    for (const [value, label] of Object.entries(KINDS)) {
        $('filter-kind').append(el('option', {value}, label));
    }
    $('filters').addEventListener('input', setFilters);
    $('filter-kind').addEventListener('change', setFilters);
    $('filters').addEventListener('submit', (event) => event.preventDefault());
    $('pause').addEventListener('click', () => pause($('pause').getAttribute('aria-pressed') !== 'true'));
    $('newest').addEventListener('click', () => timeline.follow());
    $('send-toggle').addEventListener('click', toggleSend);
    $('download').addEventListener('click', download);
    $('back').addEventListener('click', () => look(null, live));
    $('open').addEventListener('change', async () => {
        if ($('open').files.length > 0) {
            await open($('open').files[0]);
            $('open').value = '';
        }
    });
    $('token').addEventListener('submit', (event) => {
        event.preventDefault();
        connection.setToken($('token-text').value.trim().split('#').pop());
        $('token-text').value = '';
    });
    for (const [index, view] of VIEWS.entries()) {
        const tab = $('tab-' + view);
        tab.addEventListener('click', () => { location.hash = '#' + view; });
        tab.addEventListener('keydown', (event) => {
            const step = {ArrowRight: 1, ArrowLeft: -1}[event.key];
            if (step) {
                const next = VIEWS[(index + step + VIEWS.length) % VIEWS.length];
                location.hash = '#' + next;
                $('tab-' + next).focus();
            }
        });
    }
    document.addEventListener('keydown', (event) => {
        if (event.ctrlKey || event.metaKey || event.altKey || /^(?:INPUT|TEXTAREA|SELECT)$/.test(event.target.tagName)) {
            return;
        }
        const action = {'/': () => $('filter-text').focus(), p: () => $('pause').click(), s: toggleSend}[event.key];
        if (action) {
            event.preventDefault();
            action();
        }
    });
    document.addEventListener('dragover', (event) => {
        event.preventDefault();
        document.body.classList.add('droppable');
    });
    document.addEventListener('dragleave', () => document.body.classList.remove('droppable'));
    document.addEventListener('drop', (event) => {
        event.preventDefault();
        document.body.classList.remove('droppable');
        if (event.dataTransfer.files.length > 0) {
            open(event.dataTransfer.files[0]);
        }
    });
    window.addEventListener('hashchange', () => goTo(location.hash));
}

async function start() {
    vocabulary = new Vocabulary(await connection.kinds());
    views.rules = new RulesView($('view-rules'), post, history);
    views.hub = new HubView($('view-hub'), post, vocabulary);
    send = makeSend($('send'), post, vocabulary);
    listen();
    setFilters();
    goTo(location.hash);
    connection.run();
}

start().catch((error) => problem(error.message));
