// SPDX-License-Identifier: Apache-2.0
// The hub and the host as they are; each change is a line, which is shown.
import {OWN} from './messages.js';
import {copyButton, editable, el, printable} from './text.js';

const SETTINGS = ['screen_overtime', 'video_time', 'auto_rouse', 'screen_lightness'];
const ICR = [['mode', 'number'], ['sensitivity', 'number'], ['autoTimeBegin', 'text'], ['autoTimeEnd', 'text']];

export class HubView {
    constructor(root, post, vocabulary) {
        this.root = root;
        this.post = post;
        this.vocabulary = vocabulary;
        this.did = new Map(); // by card, the last line and its error
    }

    empty(text) {
        this.root.replaceChildren(el('p', {class: 'empty'}, text));
    }

    /** Asks how hub and host are, and draws them unless somebody types. */
    async refresh() {
        let hub;
        let host;
        try {
            const out = await this.post(JSON.stringify({show: 'hub', id: OWN}) + '\n' + JSON.stringify({show: 'host', id: OWN}));
            hub = out.find((line) => 'hub' in line)?.hub;
            host = out.find((line) => 'host' in line)?.host;
            this.problem = out.find((line) => 'error' in line)?.error;
        } catch (error) {
            this.empty(error.message + '.');
            return;
        }
        const typing = this.root.contains(document.activeElement) && this.changed === document.activeElement;
        if (!typing) {
            this.#draw(hub, host);
        }
    }

    #draw(hub, host) {
        const focused = document.activeElement?.id;
        const cards = [];
        if (hub) {
            cards.push(this.#settings(hub), this.#dayNight(hub.icr_dss), this.#texts(hub), this.#signals(hub), this.#answers(hub));
        } else {
            cards.push(el('p', {class: 'empty'}, this.problem + '.'));
        }
        if (host) {
            cards.push(this.#host(host), this.#failures(host.fail));
        }
        this.changed = null;
        this.root.replaceChildren(el('div', {class: 'cards'}, ...cards));
        if (focused) {
            document.getElementById(focused)?.focus();
        }
    }

    // ---- One line for each change. ----

    async #change(card, line) {
        const text = JSON.stringify(line);
        let error;
        try {
            error = (await this.post(text)).find((out) => 'error' in out)?.error;
        } catch (problem) {
            error = problem.message;
        }
        this.did.set(card, {text, error});
        this.changed = null;
        await this.refresh();
    }

    #card(name, note, ...children) {
        const did = this.did.get(name);
        return el('section', {class: 'card', 'aria-label': name}, el('h2', {}, name, el('small', {}, note)), el('div', {class: 'fields-grid'}, ...children),
            did ? el('div', {class: 'did'}, el('code', {}, did.text), copyButton(did.text)) : '',
            did?.error ? el('p', {class: 'wrong', role: 'alert'}, did.error) : '');
    }

    /** A label and an input, whose value goes into the line that `line` makes. */
    #field(card, label, value, type, line) {
        const id = `${card}-${label}`.replace(/[^\w-]/g, '_');
        const input = el('input', {id, type: type === 'number' ? 'number' : type === 'flag' ? 'checkbox' : 'text', autocomplete: 'off', spellcheck: 'false'});
        if (type === 'flag') {
            input.checked = value === 1;
        } else {
            input.value = type === 'number' ? value : printable(value ?? '');
        }
        input.addEventListener('input', () => { this.changed = input; });
        input.addEventListener('change', () => this.#change(card, line(
            type === 'flag' ? Number(input.checked) : type === 'number' && input.value.trim() !== '' ? Number(input.value) : input.value)));
        return [el('label', {for: id}, label), type === 'flag' ? el('span', {}, input) : input];
    }

    #settings(hub) {
        const card = 'Settings';
        return this.#card(card, 'of the device', ...SETTINGS.flatMap((key) => this.#field(card, key, hub[key], 'number', (value) => ({hub: {[key]: value}}))));
    }

    #dayNight(icr) {
        const card = 'Day and night';
        return this.#card(card, 'icr_dss', ...ICR.flatMap(([key, type]) => this.#field(card, key, icr[key], type, (value) => ({hub: {icr_dss: {[key]: value}}}))));
    }

    #texts(hub) {
        const card = 'Rule texts';
        const fields = ['scene_rules', 'ai_rules'].flatMap((key) => {
            const id = `${card}-${key}`.replace(/\W/g, '_');
            const area = el('textarea', {id, rows: 3, spellcheck: 'false', class: 'full', placeholder: 'none'});
            area.value = editable(hub[key] === null ? '' : typeof hub[key] === 'string' ? hub[key] : JSON.stringify(hub[key]));
            area.addEventListener('input', () => { this.changed = area; });
            area.addEventListener('change', () => {
                let value = area.value === '' ? null : area.value;
                try {
                    value = JSON.parse(area.value);
                } catch { /* a text that is no JSON is sent as it is */ }
                this.#change(card, {hub: {[key]: value}});
            });
            return [el('label', {for: id, class: 'full'}, key), area];
        });
        return this.#card(card, 'opaque to the hub', ...fields);
    }

    #signals(hub) {
        const card = 'Signals';
        const fields = Object.entries(hub.signals).flatMap(([name, value]) => this.#field(card, name, value, 'number', (strength) => ({hub: {signals: {[name]: strength}}})));
        const name = el('input', {id: 'signal-name', placeholder: 'serial, MAC or router', 'aria-label': 'Serial, MAC or router', spellcheck: 'false'});
        const strength = el('input', {id: 'signal-strength', type: 'number', placeholder: 'strength', 'aria-label': 'Strength'});
        const add = () => {
            if (name.value !== '' && strength.value !== '') {
                this.#change(card, {hub: {signals: {[name.value]: Number(strength.value)}}});
            }
        };
        strength.addEventListener('change', add);
        return this.#card(card, 'strengths, and the router’s name', ...this.#field(card, 'ssid', hub.ssid, 'text', (value) => ({hub: {ssid: value}})), ...fields, name, strength);
    }

    #answers(hub) {
        const card = 'Callbacks';
        return this.#card(card, 'results; unless 0 they do nothing',
            ...['recv_msg', 'on_get_runtime_info'].flatMap((key) => this.#field(card, key, hub[key], 'number', (value) => ({hub: {[key]: value}}))));
    }

    #host(host) {
        const card = 'Host';
        const texts = Object.entries(host.devinfo).flatMap(([key, value]) => this.#field(card, key, value, 'text', (text) => ({host: {devinfo: {[key]: text}}})));
        return this.#card(card, 'state and device information',
            ...this.#field(card, 'sleep', host.sleep, 'flag', (value) => ({host: {sleep: value}})),
            ...this.#field(card, 'dclog', host.dclog, 'flag', (value) => ({host: {dclog: value}})), ...texts);
    }

    #failures(fail) {
        const card = 'Failures';
        const fields = Object.entries(fail).flatMap(([name, code]) => this.#field(card, name, code, 'number', (value) => ({host: {fail: {[name]: value}}})));
        const choose = el('select', {id: 'fail-function', 'aria-label': 'Host function'}, el('option', {value: ''}, 'a host function …'),
            ...this.vocabulary.hostFunctions.filter((name) => !(name in fail)).map((name) => el('option', {value: name}, name)));
        const code = el('input', {id: 'fail-code', type: 'number', placeholder: 'code', 'aria-label': 'Code'});
        code.addEventListener('change', () => {
            if (choose.value !== '' && code.value !== '') {
                this.#change(card, {host: {fail: {[choose.value]: Number(code.value)}}});
            }
        });
        return this.#card(card, 'of host functions; 0 ends one', ...fields, choose, code);
    }
}
