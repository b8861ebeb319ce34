import { useState } from 'react';

import { demo } from './demo';

export default function App() {
  const [said, say] = useState('');
  return (
    <>
      <button onClick={async () => say(await demo())}>Sign</button>
      <output>{said}</output>
    </>
  );
}
