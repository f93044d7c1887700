'use strict';
(() => {
const at = id => document.getElementById(id);
const video = at('video'), search = at('search'), offset = at('offset');
const plain = text => text.normalize('NFKD').replace(/\p{M}/gu, '').toLowerCase();
const pieces = new Map();  // what stands on a slide and in its notes, from the first of its visits

const visits = [...document.querySelectorAll('#visits>li[data-from]')].map(item => {
  const {from, to, slide} = item.dataset;
  const title = item.querySelector('h3').textContent;
  if (!pieces.has(slide)) pieces.set(slide, [...item.querySelectorAll('.text,h4')]);
  const words = plain(title + ' ' + pieces.get(slide).filter(piece => piece.matches('.text')).map(piece => piece.textContent).join(' '));
  const frame = item.firstElementChild, image = frame.matches('img') ? frame : null;
  const button = document.createElement('button');
  button.type = 'button';
  button.title = item.querySelector('.when').textContent;
  frame.replaceWith(button);
  button.append(frame);
  return {item, button, image, slide, title, words, from: +from, to: +to};
});

const first = document.querySelector('time');
const start = new Date(document.body.dataset.start);
if (first && !isNaN(start)) first.textContent = start.toLocaleString(undefined, {dateStyle: 'long', timeStyle: 'short'});
document.body.classList.add('scripted');
for (const id of ['stage', 'finder']) at(id).hidden = !visits.length;

let current = -1;
const shown = () => visits.filter(visit => !visit.item.hidden);
const videoTime = visit => Math.max(0, (visit.from / 1000) + (+offset.value || 0));
const hasVideo = () => !video.hidden;

// The visit at a time in milliseconds; the last one before it when `orBefore`, else -1 within a gap.
const visitAt = (time, orBefore) => {
  let low = 0, high = visits.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (visits[middle].from <= time + 0.5) low = middle + 1; else high = middle;
  }
  return low && (orBefore || time < visits[low - 1].to) ? low - 1 : -1;
};

const leave = () => {
  if (current >= 0) visits[current].button.removeAttribute('aria-current');
  current = -1;
};

// Brings a visit onto the stage.
const show = index => {
  if (index === current) return;
  leave();
  if (index < 0) {
    at('caption').textContent = 'No slide is known for this time.';
    return;
  }
  current = index;
  const visit = visits[index];
  visit.button.setAttribute('aria-current', 'true');
  const picture = at('picture');
  picture.hidden = !visit.image;
  if (visit.image) {
    picture.src = visit.image.src;
    picture.alt = [visit.image.alt, ...pieces.get(visit.slide).map(piece => piece.textContent)].join('. ');
  }
  const name = document.createElement('bdi');
  name.textContent = visit.title;
  at('caption').replaceChildren(name, ' · ' + visit.button.title);
  at('details').replaceChildren(...pieces.get(visit.slide).map(piece => piece.cloneNode(true)));
  const list = visit.item.getBoundingClientRect();
  if (list.top < 0 || list.bottom > innerHeight) visit.item.scrollIntoView({block: 'nearest'});
};

const remember = visit => {
  try {
    history.replaceState(null, '', '#t=' + visit.from / 1000);
  } catch {
    // A page from a disk may not be allowed to.
  }
};

// What the viewer wants to see; the video goes there, too.
const choose = index => {
  if (index < 0 || index >= visits.length) return;
  const hadFocus = current >= 0 && document.activeElement === visits[current].button;
  show(index);
  remember(visits[index]);
  if (hasVideo()) video.currentTime = videoTime(visits[index]);
  if (hadFocus) visits[index].button.focus();
};

const step = by => {
  const all = shown(), place = all.indexOf(visits[current]);
  const next = all[place < 0 ? 0 : Math.min(all.length - 1, Math.max(0, place + by))];
  if (next) choose(visits.indexOf(next));
};

const follow = () => {
  if (hasVideo()) show(visitAt((video.currentTime - (+offset.value || 0)) * 1000, false));
};

// "#t=75", "#t=1:15" and "#t=0:01:15" are the same time.
const goToHash = () => {
  const told = /^#t=((?:\d+:){0,2}\d+(?:\.\d+)?)$/.exec(location.hash);
  if (!told) return;
  const seconds = told[1].split(':').reduce((sum, part) => sum * 60 + +part, 0);
  show(visitAt(seconds * 1000, true));
  if (hasVideo()) video.currentTime = Math.max(0, seconds + (+offset.value || 0));
};

// A file that nobody has touched since its recording ended tells when that began.
const guessOffset = () => {
  const file = at('file').files[0];
  if (!file || isNaN(start) || !isFinite(video.duration)) return;
  const guess = (start - file.lastModified) / 1000 + video.duration;
  if (guess < 0 || guess > video.duration) return;
  offset.value = guess.toFixed(1);
  at('message').textContent = 'The beginning of the show comes from the time of the file; correct it where it is wrong.';
};

const beside = ['mp4', 'webm', 'mkv', 'm4v', 'mov', 'm4a', 'mp3'].map(type => 'video.' + type);
const tryNext = () => {
  const next = beside.shift();
  if (next) video.src = next;
};

video.addEventListener('loadedmetadata', () => {
  beside.length = 0;
  guessOffset();
  video.hidden = at('sync').hidden = false;
  if (current >= 0) video.currentTime = videoTime(visits[current]); else follow();
});
video.addEventListener('error', () => {
  video.hidden = at('sync').hidden = true;
  if (at('file').files.length) at('message').textContent = 'This browser cannot play that video.'; else tryNext();
});
for (const event of ['timeupdate', 'seeked']) video.addEventListener(event, follow);
at('file').addEventListener('change', () => {
  const file = at('file').files[0];
  if (!file) return;
  if (video.src.startsWith('blob:')) URL.revokeObjectURL(video.src);
  at('message').textContent = '';
  video.src = URL.createObjectURL(file);
});
offset.addEventListener('input', follow);
at('now').addEventListener('click', () => {
  if (current >= 0) offset.value = (video.currentTime - visits[current].from / 1000).toFixed(1);
});

visits.forEach((visit, index) => visit.button.addEventListener('click', () => choose(index)));
at('previous').addEventListener('click', () => step(-1));
at('next').addEventListener('click', () => step(1));

search.addEventListener('input', () => {
  const wanted = plain(search.value).split(/\s+/).filter(Boolean);
  for (const visit of visits) visit.item.hidden = !wanted.every(word => visit.words.includes(word));
  for (const gap of document.querySelectorAll('#visits>.gap')) gap.hidden = wanted.length > 0;
  at('found').textContent = wanted.length ? shown().length + ' of ' + visits.length : '';
});

const keys = {
  ArrowLeft: () => step(-1),
  ArrowRight: () => step(1),
  Home: () => step(-visits.length),
  End: () => step(visits.length),
  p: () => hasVideo() && (video.paused ? video.play() : video.pause()),
  '/': () => search.focus(),
};
document.addEventListener('keydown', event => {
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  if (event.target === search && event.key === 'Escape') {
    search.value = '';
    search.dispatchEvent(new Event('input'));
    return;
  }
  if (event.target.closest('input,video') || !keys[event.key]) return;
  event.preventDefault();
  keys[event.key]();
});
addEventListener('hashchange', goToHash);
addEventListener('beforeprint', () => {
  for (const visit of visits) if (visit.image) visit.image.loading = 'eager';
});

goToHash();
if (current < 0 && visits.length) show(0);
tryNext();
})();
