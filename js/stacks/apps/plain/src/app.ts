import { demo } from './demo';

const button = document.createElement('button');
const output = document.createElement('output');
button.textContent = 'Sign';
button.addEventListener('click', async () => {
  output.value = await demo();
});
document.body.append(button, output);
